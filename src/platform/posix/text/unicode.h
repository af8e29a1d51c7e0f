// Single characters of UTF-8 and UTF-16 under the layer's namespace.
#pragma once

#include "platform/processor/unicode.h"

namespace ZTKPosix {

using namespace ZTK::unicode;

}  // namespace ZTKPosix
