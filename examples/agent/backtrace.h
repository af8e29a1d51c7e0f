// Who called whom in a stopped thread.
#pragma once

#include <string>
#include <vector>

#include "target/target.h"

namespace example {

// The addresses at which the functions of a thread go on, innermost first. Follows the frame
// pointers, so it skips the callers of functions that are compiled without them. It ends after 64
// frames, and where the chain of frames is damaged or leads out of all modules.
bool Backtrace(Target& target, ThreadId thread, std::vector<Address>* addresses,
               std::string* problem);

}  // namespace example
