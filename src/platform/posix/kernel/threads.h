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
    // What a suspended thread sleeps on.
    FutexWord gate;
    bool suspended ZTK_GUARDED_BY(dispatcher_lock);
    bool joined_at_unload ZTK_GUARDED_BY(dispatcher_lock) = false;
    // Written by the thread itself before it is signalled, read afterwards.
    DWORD exit_code = 0;
    pthread_t system_thread ZTK_GUARDED_BY(dispatcher_lock){};
    // In the list of threads that have not ended.
    Thread* previous_live ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
    Thread* next_live ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
};

}  // namespace ZTKPosix
