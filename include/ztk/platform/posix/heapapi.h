// The process heap: the one heap that the library and its host share. A block that either of them
// allocates here may be released by the other.
//
// No call looks at the heap argument, as there is one heap, and none sets the last error.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// The one flag that has an effect.
inline constexpr DWORD HEAP_ZERO_MEMORY = 0x00000008;

// The process heap. Never null, and no handle: CloseHandle refuses it.
[[nodiscard]] ZTK_API HANDLE GetProcessHeap() noexcept;

// A block of bytes bytes, aligned for any type, all zero with HEAP_ZERO_MEMORY, else with whatever
// was there. 0 bytes gives a valid block without room. The caller releases it with HeapFree, or
// MemFree of ztk/memory.h. Null when memory is short; the last error is then unchanged, as on the
// platform. REQUIRES: heap is the process heap.
[[nodiscard]] ZTK_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) noexcept;

// Resizes block to bytes bytes; it may move, and the result replaces it. With HEAP_ZERO_MEMORY
// every byte beyond the old size reads zero, also when the block was made smaller before. 0 bytes
// gives a valid block without room. Null when memory is short, and then block is still allocated
// and unchanged; null as well for a null block. REQUIRES: block came from this heap and was not
// released.
[[nodiscard]] ZTK_API LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block,
                                         SIZE_T bytes) noexcept;

// Releases block; a null block is ignored, and so are flags. Returns nonzero. REQUIRES: block came
// from this heap and was not released before.
ZTK_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::GetProcessHeap;
using ZTKPosix::HEAP_ZERO_MEMORY;
using ZTKPosix::HeapAlloc;
using ZTKPosix::HeapFree;
using ZTKPosix::HeapReAlloc;
