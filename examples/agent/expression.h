// Arithmetic with the names of a debuggee: "6*7", "rip + 0x10", "-(work+2)".
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace example {

// Gives the value of a name, or returns false.
using Names = std::function<bool(std::string_view name, std::uint64_t* value)>;

// Evaluates text in 64 bits, modulo 2^64. On failure returns false with *problem set.
bool EvaluateExpression(std::string_view text, const Names& names, std::uint64_t* value,
                        std::string* problem);

}  // namespace example
