// The thread that traces: it owns the debuggee, and does what other threads ask of it.
#pragma once

#include <atomic>
#include <functional>

#include <ztk/ztk.h>

#include "target/event.h"
#include "target/handover.h"
#include "target/ptrace_debuggee.h"
#include "target/ptrace_waiter.h"

namespace example {

// Thread-safety: Run is for any thread.
class Tracer {
  public:
    // sink is borrowed.
    explicit Tracer(EventSink* sink) : sink_(sink) {}
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    ~Tracer();  // REQUIRES: nobody is in Run

    // False when the system has no threads or events for it. Then nothing can be run.
    bool Start();

    // Has the thread do work with the debuggee, and returns when it is done.
    void Run(const std::function<void(Debuggee&)>& work);

  private:
    static constexpr unsigned kEnd = 0;
    static constexpr unsigned kNoticed = 1;
    static constexpr unsigned kRequested = 2;

    static DWORD WINAPI Thread(void* tracer);
    void WaitAndServe();

    EventSink* const sink_;
    StopWaiter waiter_;
    Handover handover_;
    ZTK::CSASync events_;  // kEnd is its own; the others are those of waiter_ and handover_
    HANDLE thread_ = nullptr;
    Debuggee* debuggee_ = nullptr;  // touched by the thread; lives in WaitAndServe
};

}  // namespace example
