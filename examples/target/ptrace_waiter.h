// Makes an event of what the system tells by waitid: that a traced thread has stopped or ended.
#pragma once

#include <sys/types.h>

#include <atomic>

#include <ztk/ztk.h>

namespace example {

// The tracer has to wait for the debuggee and for requests at once, but the system's call for the
// one knows nothing of the other. So a thread of its own waits for the debuggee: it only looks
// (WNOWAIT) and signals an event. The tracer, which alone may deal with it, then takes what there
// is, and says LookAgain; before that nothing is looked for. Nobody polls.
class StopWaiter {
  public:
    StopWaiter();
    StopWaiter(const StopWaiter&) = delete;
    StopWaiter& operator=(const StopWaiter&) = delete;
    ~StopWaiter();

    // False when there is no thread or event for it.
    bool Start();

    // Auto-reset event: some thread has stopped or ended. Owned by this object.
    [[nodiscard]] HANDLE Noticed() const { return events_.GetHandle(kNoticed); }

    // Waits for it. False when the time is up.
    bool Wait(int milliseconds) { return events_.Wait(1U << kNoticed, milliseconds) == kNoticed; }

    // The tracer has taken all there was; or there is a new process to wait for.
    void LookAgain() { events_.Signal(kLookAgain); }

  private:
    static constexpr unsigned kNoticed = 0;
    static constexpr unsigned kLookAgain = 1;

    static DWORD WINAPI Thread(void* waiter);
    void WaitAndTell();

    ZTK::CSASync events_;
    HANDLE thread_ = nullptr;
    std::atomic<pid_t> system_id_{0};  // of the thread, for a signal to it
    std::atomic<bool> ending_{false};
};

}  // namespace example
