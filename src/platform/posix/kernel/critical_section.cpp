#include "platform/posix/kernel/critical_section.h"

namespace ZTKPosix {

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept {
    section->lock.Reset();
    section->owner.store(0, std::memory_order_relaxed);
    section->depth = 0;
}

// Leaves a free section behind: a thread that wrongly enters it afterwards does not sleep for ever.
void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept {
    InitializeCriticalSection(section);
}

}  // namespace ZTKPosix
