// Any bytes as the text of an XML document.
#pragma once

#include <string>
#include <string_view>

namespace example {

// Whether text is UTF-8 of characters that XML 1.0 can carry: all but most control characters and
// two of the noncharacters.
bool IsXmlText(std::string_view text);

// Text as XML has it between tags and in attributes. What is no UTF-8 becomes U+FFFD, and what XML
// cannot carry '?'.
std::string EscapeXml(std::string_view text);

}  // namespace example
