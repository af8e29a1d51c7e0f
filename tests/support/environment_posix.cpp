#include <cstdlib>

#include "support/environment.h"

void ztk_test::SetEnvironment(const char* name, const char* value) {
    (void)(value != nullptr ? setenv(name, value, 1) : unsetenv(name));
}
