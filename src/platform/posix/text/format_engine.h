// The printf engine: one core for narrow and wide formats, for counting and for writing.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace ZTKPosix::format {

// Formats into the first `room` characters of buffer (a null buffer with room 0 only counts) and
// stores no terminator. Returns the length of the whole text, also when it was cut; -1 for what
// formatting.h calls a bad format. The beginning of the text may have been written then. The list
// of arguments is not moved on.
int Format(char* buffer, std::size_t room, const char* format, std::va_list arguments) noexcept;
int Format(wchar_t* buffer, std::size_t room, const wchar_t* format,
           std::va_list arguments) noexcept;

}  // namespace ZTKPosix::format
