// Which texts a document can carry.
#include "xml_text.h"

#include <algorithm>

#include <ztk/text.h>

namespace example {

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool IsNoXmlCharacter(wchar_t c) {
    return c < 0x20 ? c != '\t' && c != '\n' && c != '\r' : c == 0xFFFE || c == 0xFFFF;
}

bool IsPlain(char c) {
    return c >= 0x20 && c < 0x7F;
}

}  // namespace

bool IsXmlText(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), IsPlain)) {
        return true;  // nearly always, and then nothing needs to be converted
    }
    const auto wide = ZTK::ToWideStrict(text);
    return wide && std::none_of(wide->begin(), wide->end(), IsNoXmlCharacter);
}

std::string ToXmlText(std::string_view text) {
    ZTK::WideText wide = ZTK::ToWide(text);
    std::replace_if(wide.begin(), wide.end(), IsNoXmlCharacter, kReplacement);
    return ZTK::ToUtf8(wide);
}

}  // namespace example
