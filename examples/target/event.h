// What happens to a debuggee without being asked for.
#pragma once

#include <cstdint>
#include <string>

namespace example {

struct Event {
    enum class Kind {
        kStopped,        // all below but code and text's bytes; text says more of a fault
        kExited,         // code; reason "exit", "signal" (code is its number) or "killed"
        kDetached,       // the agent let it go; process
        kOutput,         // text: bytes that the debuggee wrote, in no particular encoding
        kModuleLoaded,   // address: where it begins; text: its path
        kThreadStarted,  // thread
        kThreadEnded,    // thread
    };

    Kind kind = Kind::kStopped;
    std::uint64_t process = 0;

    // kStopped: "launched", "attached", "breakpoint", "step", "interrupt", "fault" (the text has
    // the system's name for it, such as "SIGSEGV at 0x0"), "signal" (any other that stops it).
    std::string reason;

    std::uint64_t thread = 0;
    std::uint64_t address = 0;  // kStopped: of the next instruction
    std::string symbol;         // kStopped: what Target::Describe says of the address
    int breakpoint = 0;         // kStopped by one: its number
    std::int64_t code = 0;
    std::string text;
};

// Takes events. Thread-safety: called by any thread of a target, and by threads that call it.
class EventSink {
  public:
    // Returns at once and never calls the target: the target may hold its locks.
    virtual void OnEvent(const Event& event) = 0;

    // Called by the thread that reads a debuggee's output, before it reads more, with no lock held:
    // waits a bounded time while those whom events are for are behind.
    virtual void WaitForRoom() = 0;

  protected:
    ~EventSink() = default;
};

}  // namespace example
