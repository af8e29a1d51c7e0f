// Recognises Wine by a function that only its kernel interface library has.
#include "support/emulated_dom.h"
#include "ztk/platform.h"

namespace ztk_test {

bool IsDomEmulated() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

}  // namespace ztk_test
