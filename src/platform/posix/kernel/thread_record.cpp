#include "platform/posix/kernel/thread_record.h"

#include <unistd.h>

namespace ZTKPosix {

namespace {

// A lock owner is the id that the thread had when it was first asked for, and above it how many
// forks lie between this process and the one that loaded the library, modulo 512: an id alone might
// come again in a child while a lock there still shows it as owner. The system's ids are below
// 2^22.
constexpr unsigned kForkShift = 22;
constexpr std::uint32_t kForkMask = 0x1FF;

// Written while a child has one thread only.
constinit std::uint32_t forks = 0;
// The lock owner of the thread that forked, 0 before any fork.
constinit std::uint32_t survivor = 0;

}  // namespace

constinit thread_local ThreadRecord current_record{};

DWORD FetchThreadId() noexcept {
    const auto id = static_cast<DWORD>(gettid());
    current_record.id = id;
    current_record.lock_owner = id | (forks << kForkShift);
    return id;
}

bool IsLostInFork(std::uint32_t owner) noexcept {
    return (owner >> kForkShift) != forks && owner != survivor;
}

void RenewThreadIdInChild() noexcept {
    forks = (forks + 1) & kForkMask;
    survivor = current_record.lock_owner;
    current_record.id = static_cast<DWORD>(gettid());
}

}  // namespace ZTKPosix
