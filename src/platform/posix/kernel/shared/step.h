// Marks the steps at which a process can die with work on the table half done.
#pragma once

namespace ZTKPosix::shared {

// Does nothing in the shipped library. In the variant for the tests it ends the process at the step
// that a test has chosen.
void Step() noexcept;

}  // namespace ZTKPosix::shared
