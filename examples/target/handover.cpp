// Work that threads hand over to the one thread that may do it, and wait for.
#include "target/handover.h"

#include <utility>

namespace example {

Handover::Handover() {
    events_.CreateEventW(0, kArrived, nullptr, false);
    events_.CreateEventW(0, kDone, nullptr, false);
}

Handover::~Handover() {
    events_.CloseAll();
}

void Handover::Run(const std::function<void()>& work) {
    const ZTK::CLockGuard turn(turn_);
    work_ = &work;
    events_.Signal(kArrived);
    (void)events_.Wait(1U << kDone, -1);  // the handles are valid, so that it ends with the work
    if (const std::exception_ptr thrown = std::exchange(thrown_, nullptr)) {
        std::rethrow_exception(thrown);
    }
}

void Handover::Serve() {
    try {
        (*work_)();
    } catch (...) {
        thrown_ = std::current_exception();
    }
    events_.Signal(kDone);
}

}  // namespace example
