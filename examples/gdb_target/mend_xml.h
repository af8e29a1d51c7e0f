// Mending of XML that other programs write carelessly, before it is loaded.
//
// A parser refuses a document with such a mistake as a whole, and it is right: the mistake is the
// writer's. But who has to understand what a program says that is out of his hands mends the text
// in front of the parser, where he knows what was meant, and loads the result:
//
//     DeclarePrefix(&text, "xi", "http://www.w3.org/2001/XInclude");
//     xml.LoadXML(wide.data());
#pragma once

#include <string>
#include <string_view>

namespace example {

// Declares a prefix of names at the root element, for the whole document, unless the root declares
// it itself. (Some servers of debuggers write `<xi:include>` in a document that never says what xi
// is.) A document that does not use the prefix means the same afterwards. Text without an element
// stays as it is.
void DeclarePrefix(std::string* document, std::string_view prefix, std::string_view uri);

// Takes out a document type declaration that has no definitions of its own. Those of others need
// not be on this machine.
void RemoveDoctype(std::string* document);

}  // namespace example
