// String tables of modules.
//
// On the platform a module's texts are linked into it. Here its host hands them over:
//
//     static constexpr LPCWSTR kTexts[ZTKPosix::kStringsPerBlock] = {L"stopped", L"running"};
//     ZTKPosix::AddStringBlock(module, 2, kTexts);  // the strings 16 to 31
//     ...
//     ZTKPosix::RemoveStringBlocks(module);
//
// Success leaves the last error as it was. The blocks are gone when the library is unloaded.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// A resource that was found: the number of a block, not a pointer. Nothing is to be released.
using HRSRC = void*;

// The strings of a block.
inline constexpr UINT kStringsPerBlock = 16;

// Adds one block of sixteen strings to the tables of module: any value that the host chooses to
// name the module by, null included. block is the platform's number of the block that holds the
// strings (block - 1) * 16 and up, 1 to 65535; a null text is a string that does not exist, as is
// an empty one. The texts are copied. Returns nonzero, or 0 with nothing added and last error
//   ERROR_ALREADY_EXISTS     module has that block
//   ERROR_INVALID_PARAMETER  a block out of range, a text above 65535 characters
//   ERROR_NOT_ENOUGH_MEMORY
ZTK_API BOOL AddStringBlock(HINSTANCE module, UINT block,
                            const LPCWSTR (&strings)[kStringsPerBlock]) noexcept;

// Removes every block of module; without any it does nothing.
ZTK_API void RemoveStringBlocks(HINSTANCE module) noexcept;

// The low 16 bits of an identifier in place of a resource's name.
inline LPCWSTR MAKEINTRESOURCEW(UINT id) noexcept {
    return reinterpret_cast<LPCWSTR>(UINT_PTR{id & 0xFFFF});
}

// Finds the string-table block of module with the number name, as MAKEINTRESOURCEW makes it of the
// low 16 bits of an identifier; a name in text form is not supported and not found. Null with last
// error ERROR_RESOURCE_NAME_NOT_FOUND when there is none, ERROR_RESOURCE_TYPE_NOT_FOUND for a type
// other than RT_STRING.
[[nodiscard]] ZTK_API HRSRC FindResourceW(HINSTANCE module, LPCWSTR name, LPCWSTR type) noexcept;

// The size of a block in bytes as the platform stores it: for each of its sixteen strings a length
// of two bytes and two bytes for each character, 32 to 2097152 in all. 0 with last error
// ERROR_RESOURCE_NAME_NOT_FOUND for a resource that module does not have.
[[nodiscard]] ZTK_API DWORD SizeofResource(HINSTANCE module, HRSRC resource) noexcept;

// Copies a string by its identifier (its low 16 bits count), cut to room characters with the
// terminator. Returns the characters copied, without the terminator. 0 with an empty text in
// buffer, and the last error as it was, for a string that does not exist in a block that does; 0
// with buffer untouched and last error ERROR_RESOURCE_NAME_NOT_FOUND when its whole block does not
// exist, ERROR_INVALID_PARAMETER for a null buffer and a room below 1: the platform's answer with a
// pointer into the module is not offered.
ZTK_API int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int room) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::FindResourceW;
using ZTKPosix::HRSRC;
using ZTKPosix::LoadStringW;
using ZTKPosix::MAKEINTRESOURCEW;
using ZTKPosix::SizeofResource;

// The one type of resource that there is.
#if !defined(RT_STRING)
#define RT_STRING MAKEINTRESOURCEW(6)
#endif
