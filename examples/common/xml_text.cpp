// Any bytes as the text of an XML document.
#include "common/xml_text.h"

#include <algorithm>

#include <ztk/text.h>

namespace example {

namespace {

bool IsXmlCharacter(wchar_t c) {
    return c >= 0x20 ? c != 0xFFFE && c != 0xFFFF : c == '\t' || c == '\n' || c == '\r';
}

std::string ToXmlText(std::string_view text) {
    ZTK::WideText wide = ZTK::ToWide(text);
    std::replace_if(
        wide.begin(), wide.end(), [](wchar_t c) { return !IsXmlCharacter(c); }, L'?');
    return ZTK::ToUtf8(wide);
}

}  // namespace

// The bytes of all characters but the two noncharacters tell by themselves.
bool IsXmlText(std::string_view text) {
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
        return IsXmlCharacter(static_cast<unsigned char>(c));
    });
    return plain &&
           ZTK::MeasureText(text.data(), text.size()).first_bad == ZTK::TextMeasure::kNone &&
           text.find("\xEF\xBF\xBE") == std::string_view::npos &&
           text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

std::string EscapeXml(std::string_view text) {
    if (!IsXmlText(text)) {
        return EscapeXml(ToXmlText(text));
    }
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '&':
                escaped += "&amp;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\r':
                escaped += "&#13;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

}  // namespace example
