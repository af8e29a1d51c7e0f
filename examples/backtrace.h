// Who called whom in a stopped thread.
#pragma once

#include <string>
#include <vector>

#include "target/target.h"

namespace example {

// The addresses at which the functions of a thread go on, innermost first. Follows the frame
// pointers, so functions that are compiled without them are left out. A damaged chain ends it, and
// so do 64 frames.
bool Backtrace(Target& target, ThreadId thread, std::vector<Address>* addresses,
               std::string* problem);

}  // namespace example
