// Single characters of UTF-8 and UTF-16. Whatever is malformed decodes to U+FFFD.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ZTK::unicode {

inline constexpr char32_t kReplacement = 0xFFFD;

inline constexpr bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
inline constexpr bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Takes one character from p. end null means that the text is terminated: a terminator continues no
// sequence, so nothing behind it is read. REQUIRES: p != end.
//
// A malformed sequence is cut where it cannot become a character any more, and gives one U+FFFD: a
// three-byte character without its last byte is one, a byte that can start nothing is one. A
// following byte that the lead byte does not allow in second place (an overlong form, a surrogate,
// a value above U+10FFFF) belongs to the sequence that it spoils, as on the platform.
inline char32_t TakeCharacter(const char*& p, const char* end) noexcept {
    const auto lead = static_cast<unsigned char>(*p++);
    if (lead < 0x80) {
        return lead;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return kReplacement;
    }
    if (lead < 0xE0) {
        if (p == end || (*p & 0xC0) != 0x80) {
            return kReplacement;
        }
        return (lead & 0x1Fu) << 6 | (static_cast<unsigned char>(*p++) & 0x3Fu);
    }
    // The second byte has the narrower range that excludes overlong forms, surrogates and values
    // above U+10FFFF.
    unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    int following = lead < 0xF0 ? 2 : 3;
    char32_t character = lead & (0x3Fu >> following);
    for (; following > 0; --following) {
        const auto next = p == end ? static_cast<unsigned char>(0) : static_cast<unsigned char>(*p);
        if ((next & 0xC0) != 0x80) {
            return kReplacement;
        }
        ++p;
        if (next < low || next > high) {
            return kReplacement;
        }
        character = character << 6 | (next & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    return character;
}

// The same for UTF-16; each lone surrogate gives one U+FFFD.
inline char32_t TakeCharacter(const wchar_t*& p, const wchar_t* end) noexcept {
    const auto unit = static_cast<char32_t>(*p++);
    if (unit < 0xD800 || unit > 0xDFFF) {
        return unit;
    }
    if (!IsHighSurrogate(unit) || p == end || !IsLowSurrogate(*p)) {
        return kReplacement;
    }
    return 0x10000 + ((unit - 0xD800) << 10) + (static_cast<char32_t>(*p++) - 0xDC00);
}

// The most units that one character takes.
template <class Char>
inline constexpr std::size_t kMostUnits = sizeof(Char) == 1 ? 4 : 2;

// Writes a character to out, which has room for kMostUnits, and returns the units written.
inline std::size_t PutCharacter(char32_t c, char* out) noexcept {
    const auto following = [c](unsigned shift) {
        return static_cast<char>(0x80 | (c >> shift & 0x3F));
    };
    if (c < 0x80) {
        out[0] = static_cast<char>(c);
        return 1;
    }
    if (c < 0x800) {
        out[0] = static_cast<char>(0xC0 | c >> 6);
        out[1] = following(0);
        return 2;
    }
    if (c < 0x10000) {
        out[0] = static_cast<char>(0xE0 | c >> 12);
        out[1] = following(6);
        out[2] = following(0);
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | c >> 18);
    out[1] = following(12);
    out[2] = following(6);
    out[3] = following(0);
    return 4;
}

inline std::size_t PutCharacter(char32_t c, wchar_t* out) noexcept {
    if (c < 0x10000) {
        out[0] = static_cast<wchar_t>(c);
        return 1;
    }
    out[0] = static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
    out[1] = static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
    return 2;
}

// A character in the units of one encoding.
template <class Char>
struct EncodedCharacter {
    explicit EncodedCharacter(char32_t c) noexcept : size(PutCharacter(c, units)) {}

    Char units[kMostUnits<Char>];
    std::size_t size;
};

inline constexpr int kAsciiBlock = 16;  // from so many in a row on, CopyAsciiRun is faster

// Converts the well-formed characters at the start of [text, end) into [out, out_end), moves out
// behind them and returns where they end. Stops early where a character might not fit or might be
// cut by the end, and behind kAsciiBlock ASCII characters in a row.
inline const wchar_t* CopyGoodCharacters(const wchar_t* text, const wchar_t* end, char*& out,
                                         const char* out_end) noexcept {
    constexpr std::ptrdiff_t kMost = kMostUnits<char>;
    char* put = out;  // not the reference, which what is stored might alias
    for (int ascii = 0; text != end && out_end - put >= kMost && ascii < kAsciiBlock; ++text) {
        const char32_t c = *text;
        if (c < 0x80) {
            *put++ = static_cast<char>(c);
            ++ascii;
            continue;
        }
        if (c < 0xD800 || c > 0xDFFF) {
            put += PutCharacter(c, put);
        } else if (IsHighSurrogate(c) && end - text >= 2 && IsLowSurrogate(text[1])) {
            put += PutCharacter(0x10000 + ((c - 0xD800) << 10) + (text[1] - 0xDC00u), put);
            ++text;
        } else {
            break;
        }
        ascii = 0;
    }
    out = put;
    return text;
}

// Takes a character of four bytes from four bytes at p; 0 if they make none.
inline char32_t TakeFour(const char* p) noexcept {
    const auto byte = [p](int i) { return static_cast<unsigned char>(p[i]); };
    const std::uint32_t all = std::uint32_t{byte(0)} << 24 | std::uint32_t{byte(1)} << 16 |
                              std::uint32_t{byte(2)} << 8 | byte(3);
    const char32_t c =
        (all >> 6 & 0x1C0000) | (all >> 4 & 0x3F000) | (all >> 2 & 0xFC0) | (all & 0x3F);
    const bool good = (all & 0xF8C0C0C0) == 0xF0808080 && c >= 0x10000 && c <= 0x10FFFF;
    return good ? c : 0;
}

inline const char* CopyGoodCharacters(const char* text, const char* end, wchar_t*& out,
                                      const wchar_t* out_end) noexcept {
    wchar_t* put = out;
    for (int ascii = 0; end - text >= 4 && out_end - put >= 2 && ascii < kAsciiBlock;) {
        const auto lead = static_cast<unsigned char>(text[0]);
        if (lead < 0x80) {
            *put++ = static_cast<wchar_t>(lead);
            ++text;
            ++ascii;
            continue;
        }
        const auto next = static_cast<unsigned char>(text[1]);
        const auto last = static_cast<unsigned char>(text[2]);
        const unsigned two = (lead & 0x1Fu) << 6 | (next & 0x3Fu);
        const unsigned three = (lead & 0x0Fu) << 12 | (next & 0x3Fu) << 6 | (last & 0x3Fu);
        if ((lead & 0xE0) == 0xC0 && (next & 0xC0) == 0x80 && two >= 0x80) {
            *put++ = static_cast<wchar_t>(two);
            text += 2;
        } else if ((lead & 0xF0) == 0xE0 && (next & 0xC0) == 0x80 && (last & 0xC0) == 0x80 &&
                   three >= 0x800 && (three & 0xF800) != 0xD800) {
            *put++ = static_cast<wchar_t>(three);
            text += 3;
        } else if (const char32_t four = TakeFour(text); four != 0) {
            put += PutCharacter(four, put);
            text += 4;
        } else {
            break;
        }
        ascii = 0;
    }
    out = put;
    return text;
}

}  // namespace ZTK::unicode
