// Heap blocks that cross the library's boundary.

#include "ztk/memory.h"

#include <cstring>
#include <limits>

#include "platform/memory/allocation.h"
#include "platform/runtime_text.h"

namespace ZTK {
namespace {

// A 64-bit size that this process cannot even address is refused before it would be cut to size_t.
bool FitsAddressSpace(std::uint64_t size) noexcept {
    return size <= std::numeric_limits<std::size_t>::max();
}

template <typename Char>
Char* Duplicate(const Char* text, std::size_t length) noexcept {
    const std::size_t bytes = (length + 1) * sizeof(Char);
    auto* copy = static_cast<Char*>(allocation::ProcessAlloc(bytes));
    if (copy != nullptr) {
        std::memcpy(copy, text, bytes);
    }
    return copy;
}

}  // namespace

void* MemAlloc(std::uint64_t size) noexcept {
    if (size == 0 || !FitsAddressSpace(size)) {
        return nullptr;
    }
    return allocation::ProcessAlloc(static_cast<std::size_t>(size));
}

void MemFree(void* block) noexcept {
    if (block != nullptr) {
        allocation::ProcessFree(block);
    }
}

void* MemRealloc(void* block, std::uint64_t size) noexcept {
    // Unlike the C library's realloc, a null block is not an allocation: callers start with
    // MemAlloc.
    if (block == nullptr || !FitsAddressSpace(size)) {
        return nullptr;
    }
    return allocation::ProcessRealloc(block, static_cast<std::size_t>(size));
}

char* StrDupW(const char* text) noexcept {
    return text == nullptr ? nullptr : Duplicate(text, std::strlen(text));
}

wchar_t* StrDupW(const wchar_t* text) noexcept {
    return text == nullptr ? nullptr : Duplicate(text, wcslen(text));
}

void StrFree(const char* text) noexcept {
    MemFree(const_cast<char*>(text));
}

void StrFree(const wchar_t* text) noexcept {
    MemFree(const_cast<wchar_t*>(text));
}

}  // namespace ZTK
