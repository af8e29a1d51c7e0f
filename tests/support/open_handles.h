// How much the process holds of what a leak would add to.
#pragma once

namespace ztk_test {

// Open descriptors, or open handles on Windows; -1 when the system does not tell.
int OpenHandles();

}  // namespace ztk_test
