// Counted strings.
#include <atomic>
#include <cstddef>
#include <cstring>

#include "platform/memory/allocation.h"
#include "platform/posix/text/runtime_text.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

namespace {

constinit std::atomic<SIZE_T> live_strings{0};

// Stands before the text. Programs that know how a counted string lies in memory read its length
// from the four bytes directly before the text.
struct StringHeader {
    DWORD padding;
    DWORD bytes;
};
static_assert(sizeof(StringHeader) == 8);

constexpr std::size_t kMaxBytes = 0x7FFFFFF0;  // as on the platform, what a signed count can hold

StringHeader* HeaderOf(BSTR text) noexcept {
    return reinterpret_cast<StringHeader*>(text) - 1;
}

BSTR Allocate(const void* source, std::size_t bytes) noexcept {
    if (bytes > kMaxBytes) {
        return nullptr;
    }
    // An odd count leaves a byte before the terminator, which is whole and aligned all the same.
    const std::size_t padded = (bytes + 1) / sizeof(OLECHAR) * sizeof(OLECHAR);
    auto* header = static_cast<StringHeader*>(
        ZTK::allocation::RuntimeAlloc(sizeof(StringHeader) + padded + sizeof(OLECHAR)));
    if (header == nullptr) {
        return nullptr;
    }
    header->padding = 0;
    header->bytes = static_cast<DWORD>(bytes);
    auto* const text = reinterpret_cast<char*>(header + 1);
    if (source != nullptr && bytes != 0) {
        std::memcpy(text, source, bytes);
    }
    std::memset(text + bytes, 0, padded - bytes + sizeof(OLECHAR));
    live_strings.fetch_add(1, std::memory_order_relaxed);
    return reinterpret_cast<BSTR>(text);
}

}  // namespace

BSTR SysAllocString(const OLECHAR* text) noexcept {
    return text != nullptr ? Allocate(text, wcslen(text) * sizeof(OLECHAR)) : nullptr;
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept {
    return Allocate(text, std::size_t{length} * sizeof(OLECHAR));
}

BSTR SysAllocStringByteLen(LPCSTR bytes, UINT count) noexcept {
    return Allocate(bytes, count);
}

void SysFreeString(BSTR text) noexcept {
    if (text != nullptr) {
        ZTK::allocation::RuntimeFree(HeaderOf(text));
        live_strings.fetch_sub(1, std::memory_order_relaxed);
    }
}

UINT SysStringByteLen(BSTR text) noexcept {
    return text != nullptr ? HeaderOf(text)->bytes : 0;
}

UINT SysStringLen(BSTR text) noexcept {
    return SysStringByteLen(text) / static_cast<UINT>(sizeof(OLECHAR));
}

SIZE_T LiveBstrs() noexcept {
    return live_strings.load(std::memory_order_relaxed);
}

}  // namespace ZTKPosix
