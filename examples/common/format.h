// Text with numbers in it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

namespace example {

// What snprintf makes of its arguments, cut at 200 characters: for numbers and for short names.
template <class... Values>
std::string Format(const char* format, Values... values) {
    char text[200];
    const int length = std::snprintf(text, sizeof text, format, values...);
    return std::string(text, static_cast<std::size_t>(std::clamp(length, 0, 199)));
}

// For printf's %ll sizes: std::uint64_t is a different type on each target.
inline unsigned long long Wide(std::uint64_t value) {
    return value;
}

}  // namespace example
