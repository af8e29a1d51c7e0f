// Memory that crosses the library's boundary, and the rings of temporary strings.
//
// Blocks come from the process heap, which the library and its host share: either side may release
// what the other allocated.
//
//     wchar_t* copy = ZTK::StrDupW(L"target");
//     ZTK::StrFree(copy);
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstdint>

#include "ztk/platform.h"

namespace ZTK {

// A zero-filled block of size bytes, or null for size 0 or when memory is short. The caller
// releases it with MemFree (or StrFree, or the platform's HeapFree on the process heap).
[[nodiscard]] ZTK_API void* MemAlloc(std::uint64_t size) noexcept;

// Releases a block of the process heap; null is ignored. REQUIRES: block came from that heap and
// was not released before.
ZTK_API void MemFree(void* block) noexcept;

// Resizes block to size bytes; bytes beyond the old size read zero. The result replaces block,
// which may have moved. Null for a null block (nothing is allocated: start with MemAlloc) and when
// memory is short; block is then still allocated and unchanged. Size 0 gives a valid block without
// room. REQUIRES: block came from the process heap and was not released.
[[nodiscard]] ZTK_API void* MemRealloc(void* block, std::uint64_t size) noexcept;

// A heap copy of text with its terminator, for the caller to release with StrFree or MemFree. Null
// for a null text or when memory is short. The narrow form carries the same name as the wide one.
[[nodiscard]] ZTK_API char* StrDupW(const char* text) noexcept;
[[nodiscard]] ZTK_API wchar_t* StrDupW(const wchar_t* text) noexcept;

// Releases a copy made by StrDupW, or any other block of the process heap. Null is ignored.
ZTK_API void StrFree(const char* text) noexcept;
ZTK_API void StrFree(const wchar_t* text) noexcept;

// Requests a slot of the narrow or the wide ring of temporary strings (256 slots each) with room
// for count characters, terminator included (1 to 512000).
//
// A slot keeps the size of the longest text that was asked of it. At most, the 256 slots hold
// 512000 characters each, and up to 1088 in blocks that were outgrown before: 131.4 million bytes
// in the narrow ring, 262.7 million in the wide one. That holds where the process has address space
// to spare; where it has none, outgrown blocks come to as much again.
//
// The slot belongs to the ring: the caller may write count characters into it and never frees it.
// It stays valid until 256 further requests on the same ring, counted over all threads and
// including those made inside library functions that return ring strings; those that have one
// return it, and ZTKTrace and LogTextA of ztk/logging.h take one without returning it. Copy what
// has to last longer. An unload of the library ends all slots.
//
// Returns 1 and sets text to the slot, whose first character is 0; the others keep what an earlier
// user left there, or zero. Returns 0, takes no slot and leaves text as it was for a count out of
// range. Memory that runs out here ends the process: no ring string without storage is ever handed
// out.
ZTK_API unsigned int ZTKGetTmpString(char*& text, unsigned int count) noexcept;
ZTK_API unsigned int ZTKGetTmpString(wchar_t*& text, unsigned int count) noexcept;

}  // namespace ZTK
