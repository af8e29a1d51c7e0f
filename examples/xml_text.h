// Which texts a document can carry.
#pragma once

#include <string>
#include <string_view>

namespace example {

// Whether text is UTF-8 of characters that XML 1.0 can carry: all but most control characters and
// two of the noncharacters.
bool IsXmlText(std::string_view text);

// The same text with a mark (U+FFFD) in place of each character that IsXmlText objects to.
std::string ToXmlText(std::string_view text);

}  // namespace example
