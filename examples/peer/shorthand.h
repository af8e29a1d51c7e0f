// What a user at the console may type instead of a request's full name, and the help for it.
#pragma once

#include <string>

namespace example {

// The request that a typed line stands for: "b main" is "break main".
std::string Expand(const std::string& line);

// One line for each command.
std::string InteractiveHelp();

}  // namespace example
