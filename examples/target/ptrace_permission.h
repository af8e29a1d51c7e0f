// Whether processes may be controlled, and what would allow it.
#pragma once

#include <sys/types.h>

#include <string>

namespace example {

// False, with *problem set, for a process that is not there, is a thread, is this one, or has a
// tracer. The system may still refuse.
bool MayBeAttached(pid_t process, std::string* problem);

// A sentence for an error of the system's.
std::string WhyNotControlled(pid_t process, int error);

}  // namespace example
