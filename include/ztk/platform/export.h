// Marks the names that leave the library, and within an exported class those that do not.
#pragma once

// Every public header includes this one, so a host meets this before anything that an older
// language does not know.
#if !defined(__cplusplus) || __cplusplus <= 201703L
#error "ZTK needs C++20: compile with -std=c++20 or newer. Its CMake package asks for it by itself."
#endif

// ZTK_API_INLINE is for an inline member whose name leaves the library all the same: hosts call it
// that were compiled when it was not inline.
#if defined(_WIN32)
#if defined(ZTK_BUILDING_LIBRARY)
#define ZTK_API __declspec(dllexport)
// A DLL exports a class whole but for its inline members. One that is marked goes too, from a
// source that is compiled with -fkeep-inline-dllexport.
#define ZTK_API_INLINE __declspec(dllexport)
#else
#define ZTK_API __declspec(dllimport)
#define ZTK_API_INLINE
#endif
// Private members leave a DLL with their class, and are not part of the interface all the same.
#define ZTK_LOCAL
#else
#define ZTK_API __attribute__((visibility("default")))
#define ZTK_LOCAL __attribute__((visibility("hidden")))
#define ZTK_API_INLINE __attribute__((visibility("default")))
#endif
