// The recursive lock, made of the system's critical section.
#pragma once

#include <atomic>
#include <cstdint>

#include "ztk/platform.h"
#include "ztk/platform/thread_annotations.h"

namespace ZTK {

class ZTK_CAPABILITY("mutex") RecursiveLock {
  public:
    RecursiveLock() noexcept { InitializeCriticalSection(&section_); }
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;
    ~RecursiveLock() { DeleteCriticalSection(&section_); }

    void Acquire() noexcept ZTK_ACQUIRE() {
        EnterCriticalSection(&section_);
        const std::uint64_t state = state_.load(std::memory_order_relaxed);
        const DWORD self = GetCurrentThreadId();
        const std::uint32_t depth = Owner(state) == self ? Depth(state) : 0;
        state_.store(Pack(depth + 1, self), std::memory_order_relaxed);
    }

    void Release() noexcept ZTK_RELEASE() {
        const std::uint64_t state = state_.load(std::memory_order_relaxed);
        const DWORD self = GetCurrentThreadId();
        if (Owner(state) != self || Depth(state) == 0) {
            return;
        }
        state_.store(Pack(Depth(state) - 1, self), std::memory_order_relaxed);
        LeaveCriticalSection(&section_);
    }

    [[nodiscard]] bool IsLastOwner() const noexcept {
        return Owner(state_.load(std::memory_order_relaxed)) == GetCurrentThreadId();
    }

  private:
    static constexpr std::uint64_t Pack(std::uint32_t depth, DWORD owner) noexcept {
        return (static_cast<std::uint64_t>(depth) << 32) | owner;
    }
    static constexpr std::uint32_t Depth(std::uint64_t state) noexcept {
        return static_cast<std::uint32_t>(state >> 32);
    }
    static constexpr DWORD Owner(std::uint64_t state) noexcept { return static_cast<DWORD>(state); }

    CRITICAL_SECTION section_;
    // The levels held (high half) and the last owner (low half). Only the thread inside the section
    // writes the word, so loads and stores are enough. That also settles the race that separate
    // words would have: a Release by the last owner, who is no longer inside, sees depth 0 or
    // another owner and writes nothing.
    std::atomic<std::uint64_t> state_{0};
};

}  // namespace ZTK
