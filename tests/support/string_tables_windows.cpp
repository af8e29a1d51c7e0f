#include "support/string_tables.h"

HINSTANCE ztk_test::ModuleWithStrings() {
    return GetModuleHandleW(nullptr);
}
