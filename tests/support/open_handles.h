// How many descriptors or handles the process has open: a leak of one shows here.
#pragma once

namespace ztk_test {

// Open descriptors, or open handles on Windows; -1 when the system does not tell.
int OpenHandles();

}  // namespace ztk_test
