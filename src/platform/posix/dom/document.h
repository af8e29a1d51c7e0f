// What the class registry knows of the DOM's classes.
#pragma once

#include "ztk/platform/posix/objbase.h"

namespace ZTKPosix {

enum class DomVersion { k4, k6 };

// Makes an empty document of that version with one reference. Null when memory is short.
IUnknown* MakeDomDocument(DomVersion version) noexcept;

}  // namespace ZTKPosix
