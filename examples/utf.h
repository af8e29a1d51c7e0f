// Conversions between UTF-8 and UTF-16 into memory of our own.
//
// The library's StrConvert returns a ring string, which 256 further requests from any thread take
// away again: a receiver thread that logs hundreds of messages can do that while another thread is
// still reading. Bodies of messages are therefore converted here.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace example {

// The UTF-16 of a UTF-8 text, with a terminator. False when it is malformed or has a NUL.
bool Widen(std::string_view text, std::vector<wchar_t>* wide);

// Whether text is UTF-8 of characters that XML 1.0 can carry: all but most control characters and
// two of the noncharacters.
bool IsXmlText(std::string_view text);

// The same text with a '?' for each byte that IsXmlText objects to.
std::string ToXmlText(std::string_view text);

// The UTF-8 of a UTF-16 text; empty for null.
std::string ToUtf8(const wchar_t* text);

}  // namespace example
