#include <new>

#include "platform/critical_section.h"
#include "platform/memory/allocation.h"
#include "ztk/sync.h"

namespace ZTK {
namespace {

// The state word: count in the high half, owner in the low one. Only the thread inside the section
// writes it, so loads and stores are enough. That also settles the race that separate words would
// have: an Unlock by the last owner, who is no longer inside, sees count 0 or another owner and
// writes nothing.
constexpr std::uint64_t Pack(std::uint32_t count, DWORD owner) noexcept {
    return (static_cast<std::uint64_t>(count) << 32) | owner;
}
constexpr std::uint32_t Count(std::uint64_t state) noexcept {
    return static_cast<std::uint32_t>(state >> 32);
}
constexpr DWORD Owner(std::uint64_t state) noexcept {
    return static_cast<DWORD>(state);
}

CRITICAL_SECTION* Section(void* section) noexcept {
    return static_cast<CRITICAL_SECTION*>(section);
}

}  // namespace

CLock::CLock() noexcept : section_(allocation::RuntimeAlloc(sizeof(CRITICAL_SECTION))) {
    if (section_ != nullptr) {
        InitializeCriticalSection(::new (section_) CRITICAL_SECTION);
    }
}

CLock::~CLock() {
    Unlock();
    if (section_ != nullptr) {
        DeleteCriticalSection(Section(section_));
        allocation::RuntimeFree(section_);
        section_ = nullptr;
    }
}

void CLock::Lock() noexcept {
    if (section_ == nullptr) {
        return;
    }
    EnterCriticalSection(Section(section_));
    const std::uint64_t state = state_.load(std::memory_order_relaxed);
    const DWORD self = CurrentLockOwner();
    // Another owner's count is 0, unless a fork has lost that owner on the way.
    const std::uint32_t count = Owner(state) == self ? Count(state) + 1 : 1;
    state_.store(Pack(count, self), std::memory_order_relaxed);
}

void CLock::Unlock() noexcept {
    const std::uint64_t state = state_.load(std::memory_order_relaxed);
    const DWORD self = CurrentLockOwner();
    if (Owner(state) != self || Count(state) == 0) {
        return;
    }
    state_.store(Pack(Count(state) - 1, self), std::memory_order_relaxed);
    LeaveCriticalSection(Section(section_));
}

bool CLock::HaveLock() const noexcept {
    return Owner(state_.load(std::memory_order_relaxed)) == CurrentLockOwner();
}

}  // namespace ZTK
