#include "platform/posix/kernel/critical_section.h"

namespace ZTKPosix {

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept {
    section->state.store(kLockFree, std::memory_order_relaxed);
    section->owner.store(0, std::memory_order_relaxed);
    section->depth = 0;
}

// Like a fresh section afterwards: a thread that still comes by does not sleep on it for ever.
void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept {
    InitializeCriticalSection(section);
}

}  // namespace ZTKPosix
