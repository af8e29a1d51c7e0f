#include <sys/mman.h>

#include "support/guarded_text.h"

char* ztk_test::GuardedPages(std::size_t room) {
    constexpr std::size_t kGuard = 1 << 16;  // a multiple of every page size
    void* const all =
        mmap(nullptr, room + 2 * kGuard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* const usable = static_cast<char*>(all) + kGuard;
    return mprotect(usable, room, PROT_READ | PROT_WRITE) == 0 ? usable : nullptr;
}
