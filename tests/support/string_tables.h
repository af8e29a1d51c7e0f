// A module with string tables: linked in as resources on Windows, handed to the layer elsewhere.
// Its strings are those of string_tables.rc.
#pragma once

#include "ztk/platform.h"

namespace ztk_test {

HINSTANCE ModuleWithStrings();

}  // namespace ztk_test
