#include "platform/posix/net/name_lookup.h"

namespace ZTKPosix {

namespace {

constexpr DWORD kPatience = 200;  // milliseconds

constinit FutexWord running{0};
// A thread that did not come along into this process was in the middle of a lookup. Written while a
// child has one thread only.
constinit bool one_was_cut = false;

}  // namespace

NameLookup::NameLookup() noexcept {
    const LockGuard guard(lookup_lock);
    running.fetch_add(1, std::memory_order_relaxed);
}

NameLookup::~NameLookup() {
    if (running.fetch_sub(1, std::memory_order_release) == 1) {
        FutexWakeOne(&running);
    }
}

bool NameLookup::TakesNames() const noexcept {
    return !one_was_cut;
}

void WaitForLookupsBeforeFork() noexcept {
    const timespec deadline = DeadlineAfter(kPatience);
    std::uint32_t left;
    while ((left = running.load(std::memory_order_acquire)) != 0 &&
           FutexWait(running, left, &deadline)) {
    }
}

void ForgetLookupsInChild() noexcept {
    one_was_cut |= running.exchange(0, std::memory_order_relaxed) != 0;
}

}  // namespace ZTKPosix
