// Base64 (RFC 4648's alphabet, '=' to pad): the standard's text, counted and strict, and an older
// form of the library's own, between buffers, into fresh blocks, and of whole strings.
//
//     const std::string text = ZTK::Base64EncodeStandard(digest, 32);
//
//     std::size_t bad = 0;
//     const auto bytes = ZTK::Base64DecodeStandard<std::vector<unsigned char>>(header, &bad);
//     if (!bytes) { ... wrong at character bad ... }
//
// WARNING: what Base64Encode and Base64EncodeString write is not what other programs read. In the
// last group they put '=' in place of a last 'A': the byte 0x40 becomes "Q===" and not "QA==",
// which a decoder of the standard refuses or reads as other bytes. They are for peers that decode
// with this library, whose Base64Decode reads both forms. Whatever anybody else reads is encoded
// with Base64EncodeStandard.
//
// Base64DecodeStandard takes the standard's text only, and tells where another one goes wrong.
// Base64Decode and Base64DecodeString check nothing. They take whatever they are given, a group of
// four characters at a time:
//
//   - A group that starts with '=' ends it. Another '=' ends its group only, so that padded texts
//     may follow each other.
//   - A group gives as many bytes as it has bits: "QQ==" is one byte, "QR==" two.
//   - A character outside the alphabet, blanks and line ends included, is neither skipped nor
//     refused: it counts as eight ones, and the bytes it takes part in mean nothing.
//   - One to three characters at the end are filled up with NULs, which are such characters:
//     without a '=' they always give three bytes.
//
// Lengths are in bytes of the raw form and characters of the encoded one, without a terminator. A
// negative one counts as 0 unless said otherwise. Pointers may be null only where said.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "ztk/platform.h"

namespace ZTK {

template <class T>
class CBuffer;

// --- The standard's text (RFC 4648, section 4): padded, in one line, with nothing else in it.
//
// The functions that return a string or a container throw what making one throws, std::bad_alloc or
// std::length_error; they are compiled into the host. The others throw nothing.

// The characters that n bytes encode to, four for each three bytes begun; nothing if std::size_t
// cannot count them.
[[nodiscard]] constexpr std::optional<std::size_t> Base64StandardEncodedSize(
    std::size_t n) noexcept {
    const std::size_t groups = n / 3 + (n % 3 != 0 ? 1 : 0);
    return groups <= static_cast<std::size_t>(-1) / 4 ? std::optional(groups * 4) : std::nullopt;
}

// The bytes that a text decodes to. Looks at its length and its padding only: of a text that is
// none of the standard, no more bytes than this are decoded.
[[nodiscard]] constexpr std::size_t Base64StandardDecodedSize(std::string_view text) noexcept {
    const std::size_t n = text.size();
    const std::size_t whole = n / 4 * 3;
    if (n == 0 || n % 4 != 0 || text[n - 1] != '=') {
        return whole;
    }
    return whole - (text[n - 2] == '=' ? 2 : 1);
}

// Encodes n bytes of data into out and returns the number of characters, which is
// Base64StandardEncodedSize(n). No terminator is written. data may be null if n is 0. REQUIRES: out
// has room for so many; the two do not overlap.
ZTK_API std::size_t Base64EncodeStandard(const void* data, std::size_t n, char* out) noexcept;

// What became of a text.
struct Base64Decoded {
    // The position of what is not there.
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    std::size_t size;       // bytes that were decoded
    std::size_t first_bad;  // kNone for a text of the standard, see Base64DecodeStandard
};

// Decodes n characters into out. first_bad of the result is where the text stops being one of the
// standard: a character outside the alphabet (white space, line ends and NULs are), padding where
// it cannot stand, what follows the padding, or a last character in front of the padding of which
// bits are set that no byte has. It is n where characters are missing at the end, padding included.
// The bytes of the groups of four in front of it are decoded then.
//
// REQUIRES: out has room for Base64StandardDecodedSize of the text. It may be the text itself. The
// pointers may be null if n is 0.
ZTK_API Base64Decoded Base64DecodeStandard(const char* text, std::size_t n, void* out) noexcept;

// n bytes of data, or those of a text, as an owning string.
[[nodiscard]] inline std::string Base64EncodeStandard(const void* data, std::size_t n) {
    // What cannot be counted is more than a string can hold.
    std::string text(Base64StandardEncodedSize(n).value_or(std::string::npos), '\0');
    (void)Base64EncodeStandard(data, n, text.data());  // as it was counted
    return text;
}
[[nodiscard]] inline std::string Base64EncodeStandard(std::string_view bytes) {
    return Base64EncodeStandard(bytes.data(), bytes.size());
}

// The bytes of a text in a container of bytes, such as std::string or std::vector<unsigned char>.
// Nothing for a text that is none of the standard. first_bad, unless null, receives where that
// begins, or Base64Decoded::kNone.
template <class Bytes = std::string>
[[nodiscard]] std::optional<Bytes> Base64DecodeStandard(std::string_view text,
                                                        std::size_t* first_bad = nullptr) {
    static_assert(sizeof(typename Bytes::value_type) == 1, "the elements are to be bytes");
    std::optional<Bytes> bytes(std::in_place);
    bytes->resize(Base64StandardDecodedSize(text));
    const Base64Decoded decoded = Base64DecodeStandard(text.data(), text.size(), bytes->data());
    if (first_bad != nullptr) {
        *first_bad = decoded.first_bad;
    }
    if (decoded.first_bad != Base64Decoded::kNone) {
        bytes.reset();
    }
    return bytes;
}

// The same into a buffer (ztk/buffer.h), whose text, lines and hits are replaced, with a terminator
// behind. The result is the length of its text. Nothing, with out empty, when memory is short or
// the text would pass 2147483647 bytes, and for a text that is none of the standard. REQUIRES: the
// source is not out's own text.
ZTK_API std::optional<std::size_t> Base64EncodeStandard(const void* data, std::size_t n,
                                                        CBuffer<char>& out) noexcept;
[[nodiscard]] ZTK_API std::optional<std::size_t> Base64DecodeStandard(
    std::string_view text, CBuffer<char>& out, std::size_t* first_bad = nullptr) noexcept;

// --- The library's own form. See the warning above.

// The characters that n bytes encode to: four for each three bytes begun. Wraps at 32 bits for
// an n above 1610612733. A negative n is not taken as 0: the result is 0 down to -4, below that it
// is what the same arithmetic gives.
[[nodiscard]] ZTK_API int Base64CalcEncodedSize(int n) noexcept;

// n - n / 4: the bytes of n characters, if n is a multiple of four. Fewer than three for a shorter
// rest, which can decode to three: a buffer of Base64CalcDecodedSize(n) + 2 bytes is never too
// small. A negative n gives what the same arithmetic does.
[[nodiscard]] ZTK_API int Base64CalcDecodedSize(int n) noexcept;

// Encodes n bytes into out, in the library's own form, and returns out. No terminator is written.
// out_length, unless null, receives Base64CalcEncodedSize(n), which is also the room that out
// needs; 0 for an n below 1. REQUIRES: in and out do not overlap.
ZTK_API unsigned char* Base64Encode(unsigned char* in, unsigned char* out, int n,
                                    int* out_length) noexcept;

// Encodes n bytes into a fresh block, terminated, for the caller to release with MemFree.
// out_length, unless null, receives the number of characters. Null, and an out_length of 0, when
// memory is short, for an n whose result int cannot count (above 1610612733), and for an n below
// -4.
[[nodiscard]] ZTK_API unsigned char* Base64Encode(unsigned char* in, int n,
                                                  int* out_length) noexcept;

// The same for a terminated text. Null, with out_length as it was, for a null s.
[[nodiscard]] ZTK_API unsigned char* Base64EncodeString(const char* s, int* out_length) noexcept;

// Decodes n characters into out and returns how many bytes that gave; nothing is written behind
// them. out may be in; a rest of one or two characters gives more bytes than it has characters. end
// is not used and may be null.
ZTK_API int Base64Decode(unsigned char* in, unsigned char* out, int n,
                         unsigned char** end) noexcept;

// Decodes n characters into a fresh block, with a NUL behind the bytes, for the caller to release
// with MemFree. out_length, unless null, receives the number of bytes. Null, and an out_length of
// 0, when memory is short or n is negative. end is not used and may be null.
[[nodiscard]] ZTK_API unsigned char* Base64Decode(unsigned char* in, int n, unsigned char** end,
                                                  int* out_length) noexcept;

// The decoded text, up to its first NUL, as a ring string (see ZTKGetTmpString in ztk/memory.h).
// Null for a null or empty s, when memory is short, for a result of 512000 bytes or more, and for
// more than 2147483647 characters. The second argument is not used.
[[nodiscard]] ZTK_API const char* Base64DecodeString(const char* s, unsigned int) noexcept;

// The same for a wide text, whose result is read as text in code_page and returned wide (see
// StrConvert in ztk/strings.h). s goes through that code page, too, and is decoded for as many
// characters as s has, whatever became of those outside the alphabet. Null as well when a
// conversion fails or the decoded text is empty. Takes one string of each ring.
[[nodiscard]] ZTK_API const wchar_t* Base64DecodeString(const wchar_t* s,
                                                        unsigned int code_page) noexcept;

}  // namespace ZTK
