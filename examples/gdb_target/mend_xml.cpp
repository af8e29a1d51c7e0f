// Mending of XML that other programs write carelessly.
#include "gdb_target/mend_xml.h"

namespace example {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

// Where the root element begins; kNone if there is none. In front of it stand only comments,
// instructions and the document type, which may hold what looks like elements.
std::size_t FindRoot(std::string_view text) {
    std::size_t at = text.find('<');
    while (at != kNone) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with("<!--")) {
            at = text.find("-->", at);
        } else if (rest.starts_with("<?")) {
            at = text.find("?>", at);
        } else if (rest.starts_with("<!")) {
            at = text.find_first_of("[>", at);
            at = at != kNone && text[at] == '[' ? text.find(']', at) : at;
        } else {
            return at;
        }
        at = at == kNone ? kNone : text.find('<', at);
    }
    return kNone;
}

// Where a start tag ends: at a '>' that is no part of an attribute's value.
std::size_t FindTagEnd(std::string_view text, std::size_t start) {
    std::size_t at = text.find_first_of("\"'>", start);
    while (at != kNone && text[at] != '>') {
        at = text.find(text[at], at + 1);
        at = at == kNone ? kNone : text.find_first_of("\"'>", at + 1);
    }
    return at;
}

}  // namespace

void DeclarePrefix(std::string* document, std::string_view prefix, std::string_view uri) {
    const std::string_view text(*document);
    const std::size_t root = FindRoot(text);
    const std::size_t end = root == kNone ? kNone : FindTagEnd(text, root);
    if (end == kNone) {
        return;
    }
    const std::string name = "xmlns:" + std::string(prefix);
    if (text.substr(root, end - root).find(name) == kNone) {
        const std::size_t behind_name = text.find_first_of(" \t\r\n/>", root);
        document->insert(behind_name, " " + name + "=\"" + std::string(uri) + "\"");
    }
}

void RemoveDoctype(std::string* document) {
    const std::size_t start = document->find("<!DOCTYPE");
    if (start == std::string::npos) {
        return;
    }
    const std::size_t end = document->find_first_of("[>", start);
    if (end != std::string::npos && (*document)[end] == '>') {
        document->erase(start, end + 1 - start);
    }
}

}  // namespace example
