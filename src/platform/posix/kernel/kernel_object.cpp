#include "platform/posix/kernel/kernel_object.h"

#include "platform/memory/allocation.h"
#include "platform/posix/kernel/waits.h"

namespace ZTKPosix {

void DispatcherSection::WakeLater(Waiter& waiter) noexcept {
    (last_to_wake_ != nullptr ? last_to_wake_->next_to_wake : first_to_wake_) = &waiter;
    last_to_wake_ = &waiter;
}

void DispatcherSection::Discard(KernelObject& object) noexcept {
    if (object.kind->discard != nullptr) {
        object.kind->discard(object);
    }
    object.next_to_free = first_to_free_;
    first_to_free_ = &object;
}

void DispatcherSection::WakeCollected() noexcept {
    Waiter* waiter = first_to_wake_;
    while (waiter != nullptr) {
        // The waiter may return, and its stack frame be gone, as soon as state is set.
        Waiter* next = waiter->next_to_wake;
        FutexWord* state = &waiter->state;
        state->store(1, std::memory_order_release);
        FutexWakeOne(state);
        waiter = next;
    }
}

void DispatcherSection::FreeCollected() noexcept {
    KernelObject* object = first_to_free_;
    while (object != nullptr) {
        KernelObject* next = object->next_to_free;
        if (object->kind->close != nullptr) {
            object->kind->close(*object);
        }
        ZTK::allocation::RuntimeFree(object);
        object = next;
    }
}

}  // namespace ZTKPosix
