// Counted text: views and owning strings of 16-bit characters, and UTF-8 converted to and from
// them, of any length, NULs included.
//
//     std::string_view body(message->GetMsg(), static_cast<std::size_t>(message->GetMsgLength()));
//     ZTK::WideText wide = ZTK::ToWide(body);               // UTF-16, terminated
//     const bool loaded = xml.LoadXML(wide.c_str());
//     std::string answer = ZTK::ToUtf8(tag->GetValue());    // null reads as empty
//
//     using namespace ZTK::literals;
//     constexpr ZTK::WideView name = L"agent"_wide;
//
// std::wstring and std::wstring_view are no help with 16-bit characters on Linux: they call the C
// library, which reads 32 bits for each. WideText and WideView are the same templates of the C++
// library over character traits of the library's own, and work on both targets. What they lack is
// what the C++ library has for its own wide strings only: streams, numbers, regular expressions.
//
// Malformed text, by which function is called:
//
//   - ToWide, ToUtf8 and ConvertText replace it. A sequence of UTF-8 that can become no character
//     gives one U+FFFD, as it does in StrConvert: a byte that begins nothing, a character cut
//     short, and an overlong form, a surrogate or a value above U+10FFFF, which is cut behind its
//     second byte. So does each surrogate of UTF-16 that has no partner.
//   - ToWideStrict and ToUtf8Strict refuse it, and tell where it begins.
//   - MeasureText tells where it begins, and converts nothing.
//
// A NUL is a character like any other: it is converted, and ends nothing. A reader of terminated
// text, such as CXml::LoadXML, ends at it.
//
// Lengths and positions count units, bytes of UTF-8 or 16-bit units of UTF-16, without a
// terminator. Views that are passed in may be empty with a null pointer.
//
// Errors: the functions that return a string, or append to one, throw std::bad_alloc when memory is
// short and std::length_error for a result longer than a string can be; they are compiled into the
// host. All others throw nothing. No function logs or changes the last error.
//
// Thread-safety: every function may be called from any thread. A string is used by one at a time.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "ztk/platform.h"
#include "ztk/strings.h"
#include "ztk/wide_string.h"

namespace ZTK {

template <class T>
class CBuffer;

// --- 16-bit text

// The character traits of 16-bit text: by unsigned value, without any function of the C library's
// for wide characters. Its members are those that the C++ standard asks of character traits.
struct WideTraits {
    // What a character is, and what stands for one or for the end of a stream.
    using char_type = wchar_t;
    using int_type = std::uint32_t;
    using off_type = std::streamoff;
    using pos_type = std::streampos;
    using state_type = std::mbstate_t;
    using comparison_category = std::strong_ordering;

    // Single characters: assignment and comparison.
    static constexpr void assign(wchar_t& to, const wchar_t& from) noexcept { to = from; }
    static constexpr bool eq(wchar_t a, wchar_t b) noexcept { return a == b; }
    static constexpr bool lt(wchar_t a, wchar_t b) noexcept { return a < b; }

    // Below, equal to or above 0 as the first n characters of a sort before, with or after b's.
    static constexpr int compare(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept {
        for (std::size_t i = 0; i < n; ++i) {
            if (a[i] != b[i]) {
                return a[i] < b[i] ? -1 : 1;
            }
        }
        return 0;
    }

    // The characters before the terminator.
    static constexpr std::size_t length(const wchar_t* text) noexcept {
        if (!std::is_constant_evaluated()) {
            return static_cast<std::size_t>(StrLength(text));
        }
        std::size_t n = 0;
        while (text[n] != 0) {
            ++n;
        }
        return n;
    }

    // The first of n characters that is c, or null.
    static constexpr const wchar_t* find(const wchar_t* text, std::size_t n,
                                         const wchar_t& c) noexcept {
        for (std::size_t i = 0; i < n; ++i) {
            if (text[i] == c) {
                return text + i;
            }
        }
        return nullptr;
    }

    // Copy n characters; move where the two overlap. Both give the target.
    static constexpr wchar_t* move(wchar_t* to, const wchar_t* from, std::size_t n) noexcept {
        if (!std::is_constant_evaluated()) {
            return n == 0 ? to : static_cast<wchar_t*>(std::memmove(to, from, n * sizeof *to));
        }
        const bool is_forward = to <= from;
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t at = is_forward ? i : n - 1 - i;
            to[at] = from[at];
        }
        return to;
    }
    static constexpr wchar_t* copy(wchar_t* to, const wchar_t* from, std::size_t n) noexcept {
        if (!std::is_constant_evaluated()) {
            return n == 0 ? to : static_cast<wchar_t*>(std::memcpy(to, from, n * sizeof *to));
        }
        return move(to, from, n);
    }

    // Fills n characters with c, and gives the target.
    static constexpr wchar_t* assign(wchar_t* to, std::size_t n, wchar_t c) noexcept {
        if (c == 0 && n != 0 && !std::is_constant_evaluated()) {
            return static_cast<wchar_t*>(std::memset(to, 0, n * sizeof *to));  // fresh room
        }
        for (std::size_t i = 0; i < n; ++i) {
            to[i] = c;
        }
        return to;
    }

    // A character as a number, which none but eof() equals, and back.
    static constexpr wchar_t to_char_type(int_type c) noexcept { return static_cast<wchar_t>(c); }
    static constexpr int_type to_int_type(wchar_t c) noexcept { return c; }
    static constexpr bool eq_int_type(int_type a, int_type b) noexcept { return a == b; }
    static constexpr int_type eof() noexcept { return 0xFFFFFFFF; }
    static constexpr int_type not_eof(int_type c) noexcept { return c == eof() ? 0 : c; }
};

// An owning string of 16-bit characters, and a view of such text that somebody else owns.
using WideText = std::basic_string<wchar_t, WideTraits>;
using WideView = std::basic_string_view<wchar_t, WideTraits>;

inline namespace literals {

// A view of a literal, NULs within it included: `L"agent"_wide`.
constexpr WideView operator""_wide(const wchar_t* text, std::size_t length) noexcept {
    return {text, length};
}

}  // namespace literals

// A view of a terminated text, without the terminator; empty for null.
[[nodiscard]] inline WideView View(const wchar_t* text) noexcept {
    return text == nullptr ? WideView() : WideView(text);
}

// A view of a String's text, which is valid as long as its GetBuffer; empty without a buffer.
[[nodiscard]] inline WideView View(const String& text) noexcept {
    return View(text.GetBuffer());
}

// A String of that text, up to its first NUL: a String is terminated. Without a buffer when memory
// is short (see ztk/wide_string.h).
[[nodiscard]] inline String ToString(WideView text) noexcept {
    const std::size_t length = text.substr(0, text.find(L'\0')).size();
    String copy;
    copy.SetSize(length);
    if (wchar_t* const room = copy) {
        WideTraits::copy(room, text.data(), length);
        room[length] = 0;
    }
    return copy;
}

// --- Measure and convert into memory of the caller's

// What a text becomes in the other form, with malformed text replaced.
struct TextMeasure {
    // The position of what is not there.
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    std::size_t length;  // units of the other form
    std::size_t
        first_bad;  // where the first malformed sequence begins; kNone if all is well-formed
};

// Measures n units of UTF-8 as UTF-16, or the other way round. Takes about as long as converting
// them. text may be null if n is 0.
[[nodiscard]] ZTK_API TextMeasure MeasureText(const char* text, std::size_t n) noexcept;
[[nodiscard]] ZTK_API TextMeasure MeasureText(const wchar_t* text, std::size_t n) noexcept;

// How far a conversion came, in units of either form.
struct TextProgress {
    std::size_t taken;    // of the text
    std::size_t written;  // to the room
};

// Converts n units of UTF-8 to UTF-16, or the other way round, into out, which has room for room
// units: as many whole characters as fit, so that a long text can be converted in pieces. A room of
// MeasureText's length is enough for all; so are n units for UTF-16, and 3n for UTF-8. No
// terminator is written; units of the room behind the result may be. REQUIRES: text and out do not
// overlap. A pointer may be null if its number is 0.
ZTK_API TextProgress ConvertText(const char* text, std::size_t n, wchar_t* out,
                                 std::size_t room) noexcept;
ZTK_API TextProgress ConvertText(const wchar_t* text, std::size_t n, char* out,
                                 std::size_t room) noexcept;

// --- Into an owning string. Malformed text is replaced.

// The UTF-16 of a UTF-8 text.
[[nodiscard]] inline WideText ToWide(std::string_view utf8) {
    WideText wide(MeasureText(utf8.data(), utf8.size()).length, L'\0');
    (void)ConvertText(utf8.data(), utf8.size(), wide.data(), wide.size());  // as it was measured
    return wide;
}

// The UTF-8 of a UTF-16 text. Null gives an empty one, and so does a String without a buffer.
[[nodiscard]] inline std::string ToUtf8(WideView wide) {
    std::string utf8(MeasureText(wide.data(), wide.size()).length, '\0');
    (void)ConvertText(wide.data(), wide.size(), utf8.data(), utf8.size());  // as it was measured
    return utf8;
}
[[nodiscard]] inline std::string ToUtf8(const wchar_t* wide) {
    return ToUtf8(View(wide));
}
[[nodiscard]] inline std::string ToUtf8(const String& wide) {
    return ToUtf8(View(wide));
}

// A view would tell the length that such a buffer has by a terminator, which it need not have.
std::string ToUtf8(const CBuffer<wchar_t>&) = delete;

// The same for well-formed text. Nothing for malformed one. first_bad, unless null, receives where
// the first malformed sequence begins, or TextMeasure::kNone.
[[nodiscard]] inline std::optional<WideText> ToWideStrict(std::string_view utf8,
                                                          std::size_t* first_bad = nullptr) {
    const TextMeasure measure = MeasureText(utf8.data(), utf8.size());
    if (first_bad != nullptr) {
        *first_bad = measure.first_bad;
    }
    if (measure.first_bad != TextMeasure::kNone) {
        return std::nullopt;
    }
    std::optional<WideText> wide(std::in_place, measure.length, L'\0');
    (void)ConvertText(utf8.data(), utf8.size(), wide->data(), measure.length);  // as measured
    return wide;
}
[[nodiscard]] inline std::optional<std::string> ToUtf8Strict(WideView wide,
                                                             std::size_t* first_bad = nullptr) {
    const TextMeasure measure = MeasureText(wide.data(), wide.size());
    if (first_bad != nullptr) {
        *first_bad = measure.first_bad;
    }
    if (measure.first_bad != TextMeasure::kNone) {
        return std::nullopt;
    }
    std::optional<std::string> utf8(std::in_place, measure.length, '\0');
    (void)ConvertText(wide.data(), wide.size(), utf8->data(), measure.length);  // as measured
    return utf8;
}

// --- Into a buffer (ztk/buffer.h), whose text, lines and hits are replaced

// Store the converted text in out, terminated, and give its length. Nothing, with out empty, when
// memory is short or the result would pass 2147483647 bytes. The strict forms give nothing, with
// out as it was, for malformed text; first_bad, unless null, receives where the first malformed
// sequence begins, or TextMeasure::kNone. REQUIRES: the view is not of out's own text.
ZTK_API std::optional<std::size_t> ToWide(std::string_view utf8, CBuffer<wchar_t>& out) noexcept;
ZTK_API std::optional<std::size_t> ToUtf8(WideView wide, CBuffer<char>& out) noexcept;
[[nodiscard]] ZTK_API std::optional<std::size_t> ToWideStrict(
    std::string_view utf8, CBuffer<wchar_t>& out, std::size_t* first_bad = nullptr) noexcept;
[[nodiscard]] ZTK_API std::optional<std::size_t> ToUtf8Strict(
    WideView wide, CBuffer<char>& out, std::size_t* first_bad = nullptr) noexcept;

}  // namespace ZTK
