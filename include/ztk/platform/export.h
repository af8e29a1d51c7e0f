// Marks the names that leave the library.
#pragma once

#if defined(_WIN32)
#if defined(ZTK_BUILDING_LIBRARY)
#define ZTK_API __declspec(dllexport)
#else
#define ZTK_API __declspec(dllimport)
#endif
#else
#define ZTK_API __attribute__((visibility("default")))
#endif
