// The process that is controlled, as the thread that traces it sees it.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "target/breakpoint_table.h"
#include "target/ptrace_launch.h"
#include "target/ptrace_memory.h"
#include "target/ptrace_modules.h"
#include "target/ptrace_output.h"
#include "target/ptrace_registers.h"
#include "target/ptrace_threads.h"
#include "target/ptrace_waiter.h"
#include "target/target.h"

namespace example {

// One thread makes a step and the others stand still: for the user, or because it has to get over a
// breakpoint before all go on.
struct OneStep {
    pid_t thread = 0;
    bool for_user = false;
    int lifted = 0;               // the number of the breakpoint that it steps over, or 0
    std::vector<siginfo_t> held;  // signals that came meanwhile, to be sent again
};

// Does what Target promises, but for one thread: the system answers the tracer only, which is a
// thread, not a process. That one makes the object, and calls OnNotice whenever waiter has noticed
// something, and OnTime when Timeout has passed.
//
// How it works: Record takes note of every stop of a thread as the system tells it, and whether the
// thread has hit one of our breakpoints. While the debuggee runs, DealWithNews decides which of
// them stop all threads and which are of no interest, and GoOn has those go on that may. While it
// is stopped, news wait until it is to go on.
//
// Its sources: ptrace_debuggee.cpp takes control and gives it up, ptrace_stops.cpp is about stops,
// ptrace_running.cpp about going on, ptrace_looking.cpp about memory, registers and breakpoints.
class Debuggee {
  public:
    // Both are borrowed.
    Debuggee(EventSink* sink, StopWaiter* waiter) : sink_(sink), waiter_(waiter) {}
    Debuggee(const Debuggee&) = delete;
    Debuggee& operator=(const Debuggee&) = delete;

    // Kills a debuggee that was launched, and lets one that was attached run on.
    ~Debuggee();

    // --- As in Target.
    bool Launch(const std::vector<std::string>& command_line, std::string* problem);
    bool Attach(std::uint64_t process, std::string* problem);
    bool Detach(bool leave_stopped, std::string* problem);
    bool Kill(std::string* problem);
    [[nodiscard]] State GetState() const;

    bool Modules(std::vector<Module>* modules, std::string* problem);
    bool Threads(std::vector<ThreadState>* threads, std::string* problem);
    bool Registers(ThreadId thread, std::vector<Register>* registers, std::string* problem);
    bool WriteRegister(ThreadId thread, const std::string& name, std::uint64_t value,
                       std::string* problem);
    std::size_t ReadMemory(Address address, void* bytes, std::size_t count, std::string* problem);
    std::size_t WriteMemory(Address address, const void* bytes, std::size_t count,
                            std::string* problem);
    bool FindSymbol(const std::string& name, Address* address);
    std::string Describe(Address address);

    bool SetBreakpoint(Address address, int* number, std::string* problem);
    bool DeleteBreakpoint(int number, std::string* problem);
    [[nodiscard]] std::vector<Breakpoint> Breakpoints() const { return breakpoints_.List(); }

    bool Continue(std::string* problem);
    bool Step(ThreadId thread, std::string* problem);
    bool Interrupt(std::string* problem);

    // --- For the thread's loop.
    void OnNotice();
    void OnTime();
    [[nodiscard]] int Timeout() const;  // in milliseconds, -1 without end

  private:
    // --- ptrace_debuggee.cpp
    bool HasNoDebuggee(std::string* problem) const;
    bool StartProgram(const std::vector<std::string>& command_line, const std::string& path,
                      std::string* problem);
    bool RunToEntry(const std::string& name, std::string* problem);
    void StopAtEntry();
    void TakeOutEntry(Event* stop);
    bool StopFirst(pid_t process, std::string* problem);
    bool SeizeAllThreads(pid_t process, std::string* problem);
    bool SeizeNewThreads(bool* found_some, int* error);
    void LetGo();
    void Forget(const std::string& why);
    bool WaitUntil(const std::function<bool()>& done, int milliseconds);

    // --- ptrace_stops.cpp
    void TakeStatuses();
    void Record(pid_t id, int status);
    void RecordStop(TracedThread& thread, int status);
    void RecordSignal(TracedThread& thread);
    void RecordFork(pid_t child, bool is_vfork, pid_t parent);
    void RecordExec(pid_t id);
    void RecordEnd(pid_t id, int status);
    TracedThread* Adopt(pid_t id);
    void ReleaseChild(pid_t child);
    bool DealWithNews();
    bool StopsAll(TracedThread& thread, Event* stop);
    bool TrapStopsAll(TracedThread& thread, Event* stop);
    void ReportStop(pid_t thread, Event stop);
    void ReportModules();
    void ReportThread(Event::Kind kind, pid_t thread);
    void ReportEnd(int status);

    // --- ptrace_running.cpp
    void GoOn();
    bool StopAll();
    bool MustStepOver(const TracedThread& thread);
    void BeginStep(TracedThread& thread, bool for_user);
    void EndStep();

    // --- ptrace_looking.cpp
    bool IsControlled(std::string* problem) const;
    bool IsStopped(std::string* problem) const;
    TracedThread* StoppedThread(ThreadId thread, std::string* problem);
    bool ArrangeBreakpoints();

    EventSink* const sink_;
    StopWaiter* const waiter_;

    State::Kind kind_ = State::Kind::kNone;
    Event stop_;           // kStopped: the last one
    std::string problem_;  // kNone: why
    pid_t process_ = 0;
    bool launched_ = false;  // and not attached: it ends with us
    bool killing_ = false;   // its end is the user's wish
    bool starting_ = false;  // a Launch or Attach is at work, whose answer tells what happens
    bool exec_done_ = false;

    TracedThreads threads_;
    std::optional<OneStep> step_;
    std::set<pid_t> vforking_;  // threads whose child still uses the debuggee's memory
    std::set<pid_t> newborn_;   // threads and children that exist but have not told of it
    ProcessMemory memory_;
    BreakpointTable breakpoints_;
    ProcessModules modules_;
    std::unique_ptr<OutputReader> output_;     // of the last launch
    std::unique_ptr<LaunchedProcess> launch_;  // as long as Launch is at work
};

}  // namespace example
