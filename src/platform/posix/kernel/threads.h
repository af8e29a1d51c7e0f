// The objects of threads.
#pragma once

#include <pthread.h>

#include "platform/posix/kernel/kernel_object.h"
#include "platform/posix/kernel/thread_record.h"

namespace ZTKPosix {

// The gate that a thread passes before it runs.
inline constexpr std::uint32_t kGateShut = 0;
inline constexpr std::uint32_t kGateOpen = 1;
inline constexpr std::uint32_t kGateCancelled = 2;  // it ends without running

// Signalled once the thread has ended.
struct Thread : KernelObject {
    static constexpr ObjectKind kKind{nullptr, nullptr};

    Thread(DWORD (*its_start)(void*), void* its_parameter, bool is_suspended) noexcept
        : KernelObject(kKind, false),
          start(its_start),
          parameter(its_parameter),
          gate(is_suspended ? kGateShut : kGateOpen),
          suspended(is_suspended) {}

    DWORD (*const start)(void*);
    void* const parameter;
    FutexWord gate;  // what a suspended thread sleeps on
    bool suspended;
    bool joined_at_unload = false;
    DWORD exit_code = 0;  // written by the thread itself before it is signalled, not guarded
    pthread_t system_thread{};
    Thread* previous_live = nullptr;  // in the list of threads that have not ended
    Thread* next_live = nullptr;
};

}  // namespace ZTKPosix
