// Marks the names that leave the library, and within an exported class those that do not.
#pragma once

#if defined(_WIN32)
#if defined(ZTK_BUILDING_LIBRARY)
#define ZTK_API __declspec(dllexport)
#else
#define ZTK_API __declspec(dllimport)
#endif
// A DLL exports a class whole but for its inline members, which hosts compile themselves; its
// private members are not part of the interface all the same.
#define ZTK_LOCAL
#define ZTK_API_INLINE
#else
#define ZTK_API __attribute__((visibility("default")))
#define ZTK_LOCAL __attribute__((visibility("hidden")))
// For an inline member whose name leaves the library all the same: hosts call it that were compiled
// when it was not inline.
#define ZTK_API_INLINE __attribute__((visibility("default")))
#endif
