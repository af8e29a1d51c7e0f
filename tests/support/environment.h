// What the process finds around it.
#pragma once

namespace ztk_test {

// Gives a variable a value, which may be empty; null removes it.
void SetEnvironment(const char* name, const char* value);

// Whether names of events and mutexes mean the same in all processes.
bool NamesAreShared();

}  // namespace ztk_test
