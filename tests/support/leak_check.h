// Allocations that the leak checker is to ignore.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace ztk_test {

// While one lives, what its thread allocates does not count as leaked.
#if defined(__SANITIZE_ADDRESS__)
using NoLeakCheck = __lsan::ScopedDisabler;
#else
struct NoLeakCheck {
    NoLeakCheck() {}
};
#endif

}  // namespace ztk_test
