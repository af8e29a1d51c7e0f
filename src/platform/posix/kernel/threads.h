// Threads: what their making and their end share.
#pragma once

#include "platform/posix/kernel/kernel_object.h"

namespace ZTKPosix {

// The gate that a thread passes before it runs.
inline constexpr std::uint32_t kGateShut = 0;
inline constexpr std::uint32_t kGateOpen = 1;
inline constexpr std::uint32_t kGateCancelled = 2;  // it ends without running

// Records a thread that has begun. REQUIRES: the dispatcher lock is held; the caller is that thread
// and its end is announced.
void AddLiveThread(Thread& thread) noexcept;

// Gives back what the system still keeps of the last thread that ended. For the end of the process:
// waits for that thread's last instructions, but not for long.
void CollectEndedThread() noexcept;

}  // namespace ZTKPosix
