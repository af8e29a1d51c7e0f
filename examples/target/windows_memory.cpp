// The memory of another process.
#include "target/windows_memory.h"

#include <algorithm>

namespace example {

namespace {

constexpr std::size_t kPageBytes = 4096;

void* Pointer(Address address) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(address));
}

// Moves bytes with copy(address, index, count), which moves all or nothing and says whether it did:
// in one piece if that works, else page by page up to the first page that is not there.
template <class Copy>
std::size_t CopyPages(Address address, std::size_t count, Copy copy) {
    constexpr Address kLast = ~std::uintptr_t{0};
    if (count == 0 || address > kLast) {
        return 0;
    }
    const bool fits = count - 1 <= kLast - address;
    if (fits && copy(Pointer(address), std::size_t{0}, count)) {
        return count;
    }
    std::size_t done = 0;
    while (done < count && done <= kLast - address) {
        const Address from = address + done;
        const auto to_page_end = static_cast<std::size_t>(kPageBytes - from % kPageBytes);
        const std::size_t piece = std::min(count - done, to_page_end);
        if (!copy(Pointer(from), done, piece)) {
            break;
        }
        done += piece;
    }
    return done;
}

}  // namespace

std::size_t ReadProcess(HANDLE process, Address address, void* bytes, std::size_t count) {
    return CopyPages(address, count, [&](void* from, std::size_t index, std::size_t piece) {
        SIZE_T read = 0;
        return ReadProcessMemory(process, from, static_cast<char*>(bytes) + index, piece, &read) !=
                   FALSE &&
               read == piece;
    });
}

// What is written may be code, which the processor may have read already.
std::size_t WriteProcess(HANDLE process, Address address, const void* bytes, std::size_t count) {
    return CopyPages(address, count, [&](void* to, std::size_t index, std::size_t piece) {
        SIZE_T written = 0;
        const bool done = WriteProcessMemory(process, to, static_cast<const char*>(bytes) + index,
                                             piece, &written) != FALSE &&
                          written == piece;
        FlushInstructionCache(process, to, piece);
        return done;
    });
}

}  // namespace example
