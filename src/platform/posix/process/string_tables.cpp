#include "platform/posix/process/string_tables.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "platform/memory/allocation.h"
#include "platform/posix/text/runtime_text.h"
#include "ztk/platform.h"

namespace ZTKPosix {

namespace {

// Followed by its strings as the platform stores them: a length and the characters of each.
struct StringBlock {
    StringBlock* next ZTK_GUARDED_BY(string_tables_lock);  // in the same bucket
    HINSTANCE module;
    UINT number;
    DWORD bytes;  // of the strings

    wchar_t* Strings() noexcept { return reinterpret_cast<wchar_t*>(this + 1); }
};

constexpr UINT kLastBlock = 0xFFFF;
constexpr std::size_t kLongestString = 0xFFFF;
constexpr std::size_t kBuckets = 64;

constinit StringBlock* buckets[kBuckets] ZTK_GUARDED_BY(string_tables_lock){};

// The blocks of a module are numbered in a row, so they spread over the buckets.
StringBlock*& BucketOf(UINT number) noexcept ZTK_REQUIRES(string_tables_lock) {
    return buckets[number % kBuckets];
}

// The block of that number, or null.
StringBlock* FindBlock(HINSTANCE module, UINT number) noexcept ZTK_REQUIRES(string_tables_lock) {
    StringBlock* block = BucketOf(number);
    while (block != nullptr && (block->number != number || block->module != module)) {
        block = block->next;
    }
    return block;
}

// The same; sets the last error for null.
StringBlock* RequireBlock(HINSTANCE module, UINT number) noexcept ZTK_REQUIRES(string_tables_lock) {
    StringBlock* const block = FindBlock(module, number);
    if (block == nullptr) {
        SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    }
    return block;
}

StringBlock* NewBlock(HINSTANCE module, UINT number,
                      const LPCWSTR (&strings)[kStringsPerBlock]) noexcept {
    std::size_t lengths[kStringsPerBlock];
    std::size_t characters = kStringsPerBlock;
    for (UINT i = 0; i < kStringsPerBlock; ++i) {
        lengths[i] = strings[i] != nullptr ? wcslen(strings[i]) : 0;
        if (lengths[i] > kLongestString) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return nullptr;
        }
        characters += lengths[i];
    }
    const std::size_t bytes = characters * sizeof(wchar_t);
    void* const memory = ZTK::allocation::RuntimeAlloc(sizeof(StringBlock) + bytes);
    if (memory == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    auto* const block =
        new (memory) StringBlock{nullptr, module, number, static_cast<DWORD>(bytes)};
    wchar_t* out = block->Strings();
    for (UINT i = 0; i < kStringsPerBlock; ++i) {
        *out++ = static_cast<wchar_t>(lengths[i]);
        if (lengths[i] != 0) {
            std::memcpy(out, strings[i], lengths[i] * sizeof(wchar_t));
        }
        out += lengths[i];
    }
    return block;
}

// Removes and frees the blocks for which leaves(block) is true.
template <class Leaves>
void RemoveBlocks(Leaves leaves) noexcept ZTK_EXCLUDES(string_tables_lock) {
    const LockGuard guard(string_tables_lock);
    for (StringBlock*& bucket : buckets) {
        StringBlock** link = &bucket;
        while (StringBlock* const block = *link) {
            if (leaves(*block)) {
                *link = block->next;
                ZTK::allocation::RuntimeFree(block);
            } else {
                link = &block->next;
            }
        }
    }
}

UINT ResourceId(const void* name) noexcept {
    return static_cast<UINT>(
        std::min(reinterpret_cast<UINT_PTR>(name), UINT_PTR{std::numeric_limits<UINT>::max()}));
}

}  // namespace

BOOL AddStringBlock(HINSTANCE module, UINT block,
                    const LPCWSTR (&strings)[kStringsPerBlock]) noexcept {
    if (block == 0 || block > kLastBlock) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    StringBlock* const added = NewBlock(module, block, strings);
    if (added == nullptr) {
        return FALSE;
    }
    const LockGuard guard(string_tables_lock);
    if (FindBlock(module, block) != nullptr) {
        ZTK::allocation::RuntimeFree(added);
        SetLastError(ERROR_ALREADY_EXISTS);
        return FALSE;
    }
    added->next = BucketOf(block);
    BucketOf(block) = added;
    return TRUE;
}

void RemoveStringBlocks(HINSTANCE module) noexcept {
    RemoveBlocks([module](const StringBlock& block) { return block.module == module; });
}

void TearDownStringTables() noexcept {
    RemoveBlocks([](const StringBlock&) { return true; });
}

HRSRC FindResourceW(HINSTANCE module, LPCWSTR name, LPCWSTR type) noexcept {
    if (type != RT_STRING) {
        SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return nullptr;
    }
    const LockGuard guard(string_tables_lock);
    const StringBlock* const block = RequireBlock(module, ResourceId(name));
    return block != nullptr ? reinterpret_cast<HRSRC>(UINT_PTR{block->number}) : nullptr;
}

DWORD SizeofResource(HINSTANCE module, HRSRC resource) noexcept {
    const LockGuard guard(string_tables_lock);
    const StringBlock* const block = RequireBlock(module, ResourceId(resource));
    return block != nullptr ? block->bytes : 0;
}

int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int room) noexcept {
    if (buffer == nullptr || room <= 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const UINT low = id & 0xFFFF;
    const LockGuard guard(string_tables_lock);
    StringBlock* const block = RequireBlock(module, low / kStringsPerBlock + 1);
    if (block == nullptr) {
        return 0;
    }
    const wchar_t* string = block->Strings();
    for (UINT before = low % kStringsPerBlock; before > 0; --before) {
        string += 1 + static_cast<std::size_t>(*string);
    }
    const int length = std::min(static_cast<int>(*string), room - 1);
    std::memcpy(buffer, string + 1, static_cast<std::size_t>(length) * sizeof(wchar_t));
    buffer[length] = 0;
    return length;
}

}  // namespace ZTKPosix
