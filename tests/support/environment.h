// The environment of the process, to be changed by a test.
#pragma once

namespace ztk_test {

// Gives a variable a value, which may be empty; null removes it.
void SetEnvironment(const char* name, const char* value);

}  // namespace ztk_test
