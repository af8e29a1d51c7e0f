// Hints about the pages of large blocks on a heap.
#include "platform/posix/process/large_block.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstdint>

namespace ZTKPosix {

namespace {

// Gives the system advice about the whole pages inside a block: it must not concern other blocks of
// the heap. Only a hint: the caller never learns that it was refused, neither by a result nor by
// errno.
void Advise(void* block, std::size_t bytes, std::uintptr_t page, int advice) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t begin = (address + page - 1) & ~(page - 1);
    const std::uintptr_t end = (address + bytes) & ~(page - 1);
    if (begin >= end) {
        return;
    }
    const int error = errno;
    (void)::madvise(static_cast<unsigned char*>(block) + (begin - address), end - begin,
                    advice);  // see above
    errno = error;
}

}  // namespace

void ExpectLargeBlockFilled(void* block, std::size_t bytes) noexcept {
    constexpr std::size_t kLarge = std::size_t{4} << 20;
    constexpr std::uintptr_t kPage = 65536;  // a multiple of every page size in use
    if (bytes >= kLarge) {
        Advise(block, bytes, kPage, MADV_HUGEPAGE);
    }
}

}  // namespace ZTKPosix
