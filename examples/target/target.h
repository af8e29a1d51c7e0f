// What an agent can do with the program that it controls, the debuggee. One interface with three
// implementations: ptrace.cpp controls a process of Linux, windows.cpp one of Windows, and
// simulated.cpp is a made-up one that works everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "target/event.h"

namespace example {

using Address = std::uint64_t;
using ThreadId = std::uint64_t;  // the system's number; 0 where any thread will do

struct Module {
    Address start = 0;
    Address end = 0;  // the first byte behind it
    std::string path;
};

struct ThreadState {
    ThreadId id = 0;
    std::string name;
    Address address = 0;  // of the next instruction; 0 while it runs
};

struct Register {
    std::string name;
    std::uint64_t value = 0;
};

struct Breakpoint {
    int number = 0;  // from 1, never given twice to one debuggee
    Address address = 0;
};

struct State {
    enum class Kind { kNone, kRunning, kStopped };

    Kind kind = Kind::kNone;
    std::uint64_t process = 0;
    Event stop;           // kStopped: what stopped it
    std::string problem;  // kNone: why there is nothing to control, as a sentence
};

// Controls at most one debuggee at a time. When it stops, all of its threads stop.
//
// A function that returns bool gives false when it could not do its work, with *problem set to a
// sentence for the user; then nothing has changed. What needs a stopped debuggee fails with such a
// sentence while it runs. The destructor removes the breakpoints, kills a debuggee that was
// launched and lets one that was attached run on.
//
// Thread-safety: all functions may be called from any thread; the peers of an agent share one
// target. What happens to the debuggee is told to the EventSink, by a thread of the target's own or
// by the calling one. No function waits for the debuggee to run anywhere.
class Target {
  public:
    virtual ~Target() = default;

    // --- Taking control, and giving it up.

    // Starts a program, stopped before its first instruction of its own. What it writes to its
    // standard output and error comes as events; its standard input is empty.
    // REQUIRES: command_line is not empty; its first element is the program's file, searched as a
    // shell would.
    virtual bool Launch(const std::vector<std::string>& command_line, std::string* problem) = 0;

    // Takes control of a process that runs already, and stops it.
    virtual bool Attach(std::uint64_t process, std::string* problem) = 0;

    // Removes the breakpoints and lets the debuggee go: to run on or, with leave_stopped, to stay
    // where it is until somebody else has it go on.
    virtual bool Detach(bool leave_stopped, std::string* problem) = 0;

    virtual bool Kill(std::string* problem) = 0;

    [[nodiscard]] virtual State GetState() = 0;

    // --- Looking around. Modules, memory and symbols also while the debuggee runs.

    virtual bool Modules(std::vector<Module>* modules, std::string* problem) = 0;
    virtual bool Threads(std::vector<ThreadState>* threads, std::string* problem) = 0;

    // thread 0: the one that the last stop was about. The names are lower case; among them are
    // "rip", "rsp" and "rbp" on 64 bits, "eip", "esp" and "ebp" on 32.
    virtual bool Registers(ThreadId thread, std::vector<Register>* registers,
                           std::string* problem) = 0;
    virtual bool WriteRegister(ThreadId thread, const std::string& name, std::uint64_t value,
                               std::string* problem) = 0;

    // How many of the first bytes could be read or written; *problem is set when it is less than
    // count. Breakpoints are not seen in memory, and writing over one keeps it.
    [[nodiscard]] virtual std::size_t ReadMemory(Address address, void* bytes, std::size_t count,
                                                 std::string* problem) = 0;
    [[nodiscard]] virtual std::size_t WriteMemory(Address address, const void* bytes,
                                                  std::size_t count, std::string* problem) = 0;

    // The address of a function or of a global by its name.
    [[nodiscard]] virtual bool FindSymbol(const std::string& name, Address* address) = 0;

    // "name" or "name+0x1c" for what is at an address; empty when nothing is known.
    [[nodiscard]] virtual std::string Describe(Address address) = 0;

    // --- Running. Each of them returns when the debuggee was told; the stop comes as an event.

    // Another breakpoint at an address that has one gives the number of that one.
    virtual bool SetBreakpoint(Address address, int* number, std::string* problem) = 0;
    virtual bool DeleteBreakpoint(int number, std::string* problem) = 0;
    [[nodiscard]] virtual std::vector<Breakpoint> Breakpoints() = 0;  // by number

    virtual bool Continue(std::string* problem) = 0;

    // One instruction of one thread; the others stand still meanwhile.
    virtual bool Step(ThreadId thread, std::string* problem) = 0;

    // Stops a running debuggee.
    virtual bool Interrupt(std::string* problem) = 0;
};

// A target that controls processes of this system. sink is borrowed and outlives the target.
std::unique_ptr<Target> MakeProcessTarget(EventSink* sink);

// Whether this system lets us control processes; if not, *problem says what would allow it.
bool CanControlProcesses(std::string* problem);

// The made-up target: a little memory, three threads. It cannot launch or attach.
std::unique_ptr<Target> MakeSimulatedTarget(EventSink* sink);

}  // namespace example
