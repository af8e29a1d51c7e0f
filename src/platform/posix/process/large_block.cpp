// A hint for fresh blocks of many megabytes that are about to be filled.
#include "platform/posix/process/large_block.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstdint>

namespace ZTKPosix {

void ExpectLargeBlockFilled(void* block, std::size_t bytes) noexcept {
    constexpr std::size_t kLarge = std::size_t{4} << 20;
    constexpr std::uintptr_t kPage = 65536;  // a multiple of every page size in use
    if (bytes < kLarge) {
        return;
    }
    // Whole pages inside the block: the hint must not concern other blocks of the heap.
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t begin = (address + kPage - 1) & ~(kPage - 1);
    const std::uintptr_t end = (address + bytes) & ~(kPage - 1);
    const int error = errno;
    // Only a hint: the caller never learns that it was refused, neither by a result nor by errno.
    (void)::madvise(static_cast<unsigned char*>(block) + (begin - address), end - begin,
                    MADV_HUGEPAGE);
    errno = error;
}

}  // namespace ZTKPosix
