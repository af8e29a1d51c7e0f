// The thread that traces.
#include "target/ptrace_tracer.h"

namespace example {

namespace {

constexpr auto kForeign = static_cast<ZTK::TSyncType>(100);  // waited for, but not the set's own

}  // namespace

Tracer::~Tracer() {
    if (thread_ != nullptr) {
        events_.Signal(kEnd);
        WaitForSingleObject(thread_, INFINITE);
        CloseHandle(thread_);
    }
    events_.Close(kEnd);
}

bool Tracer::Start() {
    if (!handover_.IsUsable() || !waiter_.Start() ||
        events_.CreateEventW(0, kEnd, nullptr, true) == nullptr) {
        return false;
    }
    events_.SetHandle(waiter_.Noticed(), kNoticed, kForeign);
    events_.SetHandle(handover_.Arrived(), kRequested, kForeign);
    thread_ = CreateThread(nullptr, 0, Thread, this, 0, nullptr);
    return thread_ != nullptr;
}

void Tracer::Run(const std::function<void(Debuggee&)>& work) {
    handover_.Run([&] { work(*debuggee_); });
}

DWORD WINAPI Tracer::Thread(void* tracer) {
    static_cast<Tracer*>(tracer)->WaitAndServe();
    return 0;
}

// One wait for all: the end, the debuggee, the requests. Each is looked at in every round, so that
// a debuggee with very many signals does not keep requests from being answered, nor the reverse.
void Tracer::WaitAndServe() {
    Debuggee debuggee(sink_, &waiter_);
    debuggee_ = &debuggee;
    constexpr DWORD kAll = 1U << kEnd | 1U << kNoticed | 1U << kRequested;
    for (;;) {
        const unsigned woken = events_.Wait(kAll, debuggee.Timeout());
        if (woken == kEnd) {
            break;
        }
        if (woken == static_cast<unsigned>(ZTK::CSASync::SyncTimeout)) {
            debuggee.OnTime();
        }
        if (woken == kRequested || events_.IsSignalled(kRequested)) {
            handover_.Serve();
        }
        debuggee.OnNotice();
    }
}

}  // namespace example
