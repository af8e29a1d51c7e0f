// Numbers and errors of the system as the sentences for users have them.
#pragma once

#include <string>

#include "target/target.h"

namespace example {

// "0x1c".
std::string Hex(Address address);

// The system's words for an errno.
std::string SystemText(int error);

// "SIGSEGV".
std::string SignalName(int number);

// Sets *problem and returns false.
bool Fail(std::string* problem, std::string sentence);

}  // namespace example
