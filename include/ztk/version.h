// The library's version: of these headers, when a host is compiled, and of the library that it has
// loaded.
//
//     #if ZTK_VERSION >= 200  // 0.2.0
//     ...
//     #endif
//     if (!ZTK::IsLibraryCompatible()) {
//         std::fprintf(stderr, "ZTK %s is too old\n", ZTK::GetLibraryVersionText());
//         return 1;
//     }
//
// Releases of one major version fit together: a host runs with the library that it was compiled for
// and with every later one of that major version. CONTRIBUTING.md has the whole policy.
//
// Thread-safety: every function may be called from any thread at any time.
#pragma once

#include "ztk/platform.h"

// The version of these headers.
#define ZTK_VERSION_MAJOR 0
#define ZTK_VERSION_MINOR 1
#define ZTK_VERSION_PATCH 0

// The three in one number, to compare with: 10203 is 1.2.3.
#define ZTK_VERSION (ZTK_VERSION_MAJOR * 10000 + ZTK_VERSION_MINOR * 100 + ZTK_VERSION_PATCH)

// The three as a text, as in "1.2.3".
#define ZTK_VERSION_TEXT ZTK_VERSION_JOIN(ZTK_VERSION_MAJOR, ZTK_VERSION_MINOR, ZTK_VERSION_PATCH)
// Helpers of ZTK_VERSION_TEXT: numbers are replaced by their digits before these are quoted.
#define ZTK_VERSION_JOIN(major, minor, patch) ZTK_VERSION_QUOTE(major.minor.patch)  // NOLINT: text
#define ZTK_VERSION_QUOTE(text) #text

namespace ZTK {

// The version of the loaded library, in the form of ZTK_VERSION.
[[nodiscard]] ZTK_API unsigned int GetLibraryVersion() noexcept;

// The version of the loaded library, in the form of ZTK_VERSION_TEXT. Never null; the text is the
// library's and stays while it is loaded.
[[nodiscard]] ZTK_API const char* GetLibraryVersionText() noexcept;

// Whether the loaded library fits a host that was compiled with these headers: it has their major
// version, and at least their minor version. Patch releases add nothing to the headers.
[[nodiscard]] inline bool IsLibraryCompatible() noexcept {
    const unsigned int loaded = GetLibraryVersion() / 100;
    return loaded / 100 == ZTK_VERSION_MAJOR && loaded >= ZTK_VERSION / 100;
}

}  // namespace ZTK
