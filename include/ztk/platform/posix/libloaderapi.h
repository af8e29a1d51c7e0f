// String tables of modules.
//
// On the platform a module's texts are linked into it. Here its host hands them over:
//
//     static constexpr LPCWSTR kTexts[ZTKPosix::kStringsPerBlock] = {L"stopped", L"running"};
//     ZTKPosix::AddStringBlock(module, 2, kTexts);  // the strings 16 to 31
//     ...
//     ZTKPosix::RemoveStringBlocks(module);
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// A resource that was found: the number of a block, not a pointer.
using HRSRC = void*;

inline constexpr UINT kStringsPerBlock = 16;

// Adds one block of sixteen strings to the tables of module: any value that the host chooses to
// name the module by, null included. block is the platform's number of the block that holds the
// strings (block - 1) * 16 and up, 1 to 65535; a null text is a string that does not exist, as is
// an empty one. The texts are copied. Returns nonzero, or 0 with last error ERROR_ALREADY_EXISTS,
// ERROR_INVALID_PARAMETER (a block out of range, a text above 65535 characters) or
// ERROR_NOT_ENOUGH_MEMORY.
ZTK_API BOOL AddStringBlock(HINSTANCE module, UINT block,
                            const LPCWSTR (&strings)[kStringsPerBlock]) noexcept;

// Removes every block of module.
ZTK_API void RemoveStringBlocks(HINSTANCE module) noexcept;

// The low 16 bits of an identifier in place of a resource's name.
inline LPCWSTR MAKEINTRESOURCEW(UINT id) noexcept {
    return reinterpret_cast<LPCWSTR>(UINT_PTR{id & 0xFFFF});
}

// Finds the string-table block of that number (MAKEINTRESOURCEW; names in text form are not
// supported and not found). Null with last error ERROR_RESOURCE_NAME_NOT_FOUND when there is none,
// ERROR_RESOURCE_TYPE_NOT_FOUND for a type other than RT_STRING.
[[nodiscard]] ZTK_API HRSRC FindResourceW(HINSTANCE module, LPCWSTR name, LPCWSTR type) noexcept;

// The size of a block in bytes as the platform stores it: for each of its strings a length of two
// bytes and two bytes for each character. 0 with ERROR_RESOURCE_NAME_NOT_FOUND for a resource that
// module does not have.
[[nodiscard]] ZTK_API DWORD SizeofResource(HINSTANCE module, HRSRC resource) noexcept;

// Copies a string by its identifier (its low 16 bits count), cut to room characters with the
// terminator. Returns its characters without the terminator; 0 for a string that does not exist:
// with ERROR_RESOURCE_NAME_NOT_FOUND and buffer untouched when its whole block does not. room must
// be above 0: the platform's answer with a pointer into the module is not offered
// (0 with ERROR_INVALID_PARAMETER).
ZTK_API int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int room) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::FindResourceW;
using ZTKPosix::HRSRC;
using ZTKPosix::LoadStringW;
using ZTKPosix::MAKEINTRESOURCEW;
using ZTKPosix::SizeofResource;

#if !defined(RT_STRING)
#define RT_STRING MAKEINTRESOURCEW(6)
#endif
