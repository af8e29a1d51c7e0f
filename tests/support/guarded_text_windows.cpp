#include "support/guarded_text.h"
#include "ztk/platform.h"

char* ztk_test::GuardedPages(std::size_t room) {
    constexpr std::size_t kGuard = 1 << 16;
    void* const all = VirtualAlloc(nullptr, room + 2 * kGuard, MEM_RESERVE, PAGE_NOACCESS);
    char* const usable = static_cast<char*>(all) + kGuard;
    return static_cast<char*>(VirtualAlloc(usable, room, MEM_COMMIT, PAGE_READWRITE));
}
