// The process heap: blocks of the C library's heap, each behind a header with its size.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/memory/zeroed_block.h"
#include "ztk/platform.h"

namespace ZTKPosix {

namespace {

// Stands before every block. The size last asked for is kept because the C library only knows
// rounded sizes, and growth must read zero from the last requested byte on, also after the block
// was made smaller.
struct alignas(16) BlockHeader {
    std::size_t bytes;
};
static_assert(sizeof(BlockHeader) == 16 && alignof(std::max_align_t) <= 16,
              "the block behind the header keeps the alignment of the C library's blocks");

// Larger requests are refused: with the header they would exceed the largest size of an object.
constexpr std::size_t kMaxBytes = PTRDIFF_MAX - sizeof(BlockHeader);

BlockHeader* HeaderOf(void* block) noexcept {
    return static_cast<BlockHeader*>(block) - 1;
}

}  // namespace

HANDLE GetProcessHeap() noexcept {
    // Any value but null would serve. This one is no open handle, so that closing it by mistake
    // fails.
    static const char heap = 0;
    return const_cast<char*>(&heap);
}

LPVOID HeapAlloc(HANDLE /*heap*/, DWORD flags, SIZE_T bytes) noexcept {
    if (bytes > kMaxBytes) {
        return nullptr;
    }
    const std::size_t total = sizeof(BlockHeader) + bytes;
    auto* header = static_cast<BlockHeader*>(
        (flags & HEAP_ZERO_MEMORY) != 0 ? ZTK::allocation::ZeroedBlock(total) : std::malloc(total));
    if (header == nullptr) {
        return nullptr;
    }
    header->bytes = bytes;
    return header + 1;
}

LPVOID HeapReAlloc(HANDLE /*heap*/, DWORD flags, LPVOID block, SIZE_T bytes) noexcept {
    if (block == nullptr || bytes > kMaxBytes) {
        return nullptr;
    }
    const std::size_t old_bytes = HeaderOf(block)->bytes;
    auto* header =
        static_cast<BlockHeader*>(std::realloc(HeaderOf(block), sizeof(BlockHeader) + bytes));
    if (header == nullptr) {
        return nullptr;
    }
    header->bytes = bytes;
    auto* moved = reinterpret_cast<char*>(header + 1);
    if ((flags & HEAP_ZERO_MEMORY) != 0 && bytes > old_bytes) {
        std::memset(moved + old_bytes, 0, bytes - old_bytes);
    }
    return moved;
}

BOOL HeapFree(HANDLE /*heap*/, DWORD /*flags*/, LPVOID block) noexcept {
    if (block != nullptr) {
        std::free(HeaderOf(block));
    }
    return TRUE;
}

}  // namespace ZTKPosix
