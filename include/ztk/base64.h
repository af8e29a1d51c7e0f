// Base64 (RFC 4648's alphabet, '=' to pad) between buffers, into fresh blocks, and of whole
// strings.
//
//     int count = 0;
//     unsigned char* const text = ZTK::Base64Encode(digest, 32, &count);    // terminated
//     Send(text, count);
//     ZTK::MemFree(text);
//
//     const char* const secret = ZTK::Base64DecodeString(header, 0);        // a ring string
//
// Encoding differs from the standard in the last group, where it writes '=' instead of a last 'A':
// the byte 0x40 becomes "Q===" and not "QA==". Decoding reads both.
//
// Decoding takes whatever it is given, a group of four characters at a time:
//   - A group that starts with '=' ends it. Another '=' ends its group only, so that padded texts
//     may follow each other.
//   - A group gives as many bytes as it has bits: "QQ==" is one byte, "QR==" two.
//   - A character outside the alphabet, blanks and line ends included, is neither skipped nor
//     refused: it counts as eight ones, and the bytes it takes part in mean nothing.
//   - One to three characters at the end are filled up with NULs, which are such characters:
//     without a '=' they always give three bytes.
//
// Lengths are in bytes of the raw form and characters of the encoded one, without a terminator. A
// negative length counts as 0 unless said otherwise; pointers may be null only where said.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include "ztk/platform.h"

namespace ZTK {

// The characters that n bytes encode to: four for each three bytes begun. Wraps at 32 bits for
// an n above 1610612733. A negative n is not taken as 0: the result is 0 down to -4, below that it
// is what the same arithmetic gives.
[[nodiscard]] ZTK_API int Base64CalcEncodedSize(int n) noexcept;

// n - n / 4: the bytes of n characters, if n is a multiple of four. Fewer than three for a shorter
// rest, which can decode to three: a buffer of Base64CalcDecodedSize(n) + 2 bytes is never too
// small. A negative n gives what the same arithmetic does.
[[nodiscard]] ZTK_API int Base64CalcDecodedSize(int n) noexcept;

// Encodes n bytes into out and returns out. No terminator is written. out_length, unless null,
// receives Base64CalcEncodedSize(n), which is also the room that out needs; 0 for an n below 1.
// REQUIRES: in and out do not overlap.
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
