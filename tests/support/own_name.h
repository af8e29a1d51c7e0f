// Names of events and mutexes, which all programs of a user share.
#pragma once

#include <random>

#include "ztk/strings.h"

namespace ztk_test {

// The name with an ending that no other run of a test has. A ring string.
inline const wchar_t* OwnName(const wchar_t* name) {
    static const unsigned run = std::random_device{}();
    return ZTK::StrFormat(L"%ls-%u", name, run);
}

}  // namespace ztk_test
