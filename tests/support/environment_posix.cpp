#include <cstdlib>

#include "support/environment.h"
#include "ztk/platform.h"

void ztk_test::SetEnvironment(const char* name, const char* value) {
    (void)(value != nullptr ? setenv(name, value, 1) : unsetenv(name));
}

bool ztk_test::NamesAreShared() {
    return ZTKPosix::NamesAreShared() != FALSE;
}
