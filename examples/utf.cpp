// Conversions between UTF-8 and UTF-16.
#include "utf.h"

#include <cstdint>

namespace example {

namespace {

constexpr std::uint32_t kMalformed = 0xFFFFFFFF;

bool IsHighSurrogate(std::uint32_t c) {
    return c >= 0xD800 && c < 0xDC00;
}

bool IsLowSurrogate(std::uint32_t c) {
    return c >= 0xDC00 && c < 0xE000;
}

// Takes one character off a text that is not empty.
std::uint32_t TakeCharacter(std::string_view* text) {
    const auto first = static_cast<unsigned char>(text->front());
    text->remove_prefix(1);
    if (first < 0x80) {
        return first;
    }
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4 || text->size() < more) {
        return kMalformed;
    }
    std::uint32_t c = first & (0x3Fu >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>((*text)[i]);
        if ((next & 0xC0) != 0x80) {
            return kMalformed;
        }
        c = c << 6 | (next & 0x3F);
    }
    text->remove_prefix(more);
    constexpr std::uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
    const bool surrogate = IsHighSurrogate(c) || IsLowSurrogate(c);
    return c < kLeast[more] || c > 0x10FFFF || surrogate ? kMalformed : c;
}

bool IsXmlCharacter(std::uint32_t c) {
    return c >= 0x20 ? c != kMalformed && c != 0xFFFE && c != 0xFFFF
                     : c == '\t' || c == '\n' || c == '\r';
}

void AppendUtf8(std::uint32_t c, std::string* out) {
    if (c < 0x80) {
        out->push_back(static_cast<char>(c));
        return;
    }
    int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr unsigned kMark[] = {0, 0xC0, 0xE0, 0xF0};
    out->push_back(static_cast<char>(kMark[more] | c >> (6 * more)));
    while (more-- > 0) {
        out->push_back(static_cast<char>(0x80 | (c >> (6 * more) & 0x3F)));
    }
}

}  // namespace

bool Widen(std::string_view text, std::vector<wchar_t>* wide) {
    wide->clear();
    wide->reserve(text.size() + 1);
    while (!text.empty()) {
        const std::uint32_t c = TakeCharacter(&text);
        if (c == 0 || c == kMalformed) {
            return false;
        }
        if (c < 0x10000) {
            wide->push_back(static_cast<wchar_t>(c));
        } else {
            wide->push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
            wide->push_back(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)));
        }
    }
    wide->push_back(0);
    return true;
}

bool IsXmlText(std::string_view text) {
    while (!text.empty()) {
        if (!IsXmlCharacter(TakeCharacter(&text))) {
            return false;
        }
    }
    return true;
}

std::string ToXmlText(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        std::string_view rest = text;
        const bool ok = IsXmlCharacter(TakeCharacter(&rest));
        const std::size_t taken = ok ? text.size() - rest.size() : 1;
        valid += ok ? text.substr(0, taken) : "?";
        text.remove_prefix(taken);
    }
    return valid;
}

std::string ToUtf8(const wchar_t* text) {
    std::string utf8;
    while (text != nullptr && *text != 0) {
        std::uint32_t c = *text++;
        if (IsHighSurrogate(c) && IsLowSurrogate(*text)) {
            c = 0x10000 + ((c - 0xD800) << 10) + (*text++ - 0xDC00u);
        } else if (IsHighSurrogate(c) || IsLowSurrogate(c)) {
            c = 0xFFFD;
        }
        AppendUtf8(c, &utf8);
    }
    return utf8;
}

}  // namespace example
