#include "support/environment.h"
#include "ztk/platform.h"

void ztk_test::SetEnvironment(const char* name, const char* value) {
    SetEnvironmentVariableA(name, value);
}

bool ztk_test::NamesAreShared() {
    return true;
}
