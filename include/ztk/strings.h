// Functions for zero-terminated strings, narrow (bytes in the caller's code page) and wide
// (UTF-16).
//
// Lengths and counts are in elements (bytes or 16-bit units) without the terminator. Character
// classes and case are those of the "C" locale: only ASCII letters have a case. No function throws,
// logs or changes the last error.
//
// The functions survive bad arguments instead of reporting them. "Bad" below means null, or a
// pointer whose first element cannot be read. Windows recognises every such pointer; Linux only
// null and addresses below 4096, which a null pointer to a structure leads to, and any other
// faults. A text whose terminator cannot be reached faults on both, and where only null is named,
// so does every other pointer that cannot be read.
//
// Thread-safety: every function may be called from any thread; StrConvert and StrFormat return ring
// strings (see ZTKGetTmpString in ztk/memory.h for how long they stay valid).
#pragma once

#include <cstdint>

#include "ztk/platform.h"

namespace ZTK {

// --- Character classes ---

// Nonzero, which need not be 1, for an ASCII letter (IsAlpha) or an ASCII digit (IsNumeric); else
// 0.
[[nodiscard]] ZTK_API unsigned int IsAlpha(char c) noexcept;
[[nodiscard]] ZTK_API unsigned int IsAlpha(wchar_t c) noexcept;
[[nodiscard]] ZTK_API unsigned int IsNumeric(char c) noexcept;
[[nodiscard]] ZTK_API unsigned int IsNumeric(wchar_t c) noexcept;

// 1 for an ASCII letter or digit, else 0.
[[nodiscard]] ZTK_API unsigned int IsAlphaNum(char c) noexcept;
[[nodiscard]] ZTK_API unsigned int IsAlphaNum(wchar_t c) noexcept;

// --- Length ---

// The number of elements before the terminator; 0 for a bad string.
[[nodiscard]] ZTK_API std::uint64_t StrLength(const char* s) noexcept;
[[nodiscard]] ZTK_API std::uint64_t StrLength(const wchar_t* s) noexcept;

// The terminator of s. Null for a bad string, and for an empty one.
[[nodiscard]] ZTK_API const char* EndOfString(const char* s) noexcept;
[[nodiscard]] ZTK_API const wchar_t* EndOfString(const wchar_t* s) noexcept;

// --- Copy ---

// Copies src with its terminator to dst; nothing if either is bad. REQUIRES: dst has room for
// StrLength(src) + 1 elements; the two do not overlap.
ZTK_API void StrCopy(char* dst, const char* src) noexcept;
ZTK_API void StrCopy(wchar_t* dst, const wchar_t* src) noexcept;

// Copies at most n elements of src to dst and a terminator behind them. A null dst gives false; a
// null src empties dst and gives false. REQUIRES: dst has room for n + 1 elements (narrow: 2n, see
// below).
//
// The two forms differ, and callers rely on how:
//
// - wide: true whether or not the text was cut.
// - narrow: true if all of src was copied, false if it was cut; on a cut it also stores 0 at
//   `dst[2n - 1]`.
//
// n = 0 is no limit: all of src is copied and the result is true; only the narrow form, for a src
// of at most one character, then empties dst and gives false.
ZTK_API bool StrSafeCopy(char* dst, const char* src, std::uint64_t n) noexcept;
ZTK_API bool StrSafeCopy(wchar_t* dst, const wchar_t* src, std::uint64_t n) noexcept;

// --- Compare ---

// Null and any text may be passed. Less than, equal to or greater than 0 as a sorts before, with or
// after b by unsigned element value; only the sign has a meaning. A null sorts before every text
// and equals null. case_sensitive false folds 'A'-'Z' onto 'a'-'z'.
[[nodiscard]] ZTK_API int StrCompare(const char* a, const char* b, bool case_sensitive) noexcept;
[[nodiscard]] ZTK_API int StrCompare(const wchar_t* a, const wchar_t* b,
                                     bool case_sensitive) noexcept;

// The same over at most n elements; n = 0 gives 0 for two texts that are not null.
[[nodiscard]] ZTK_API int StrCompareN(const char* a, const char* b, std::uint64_t n,
                                      bool case_sensitive) noexcept;
[[nodiscard]] ZTK_API int StrCompareN(const wchar_t* a, const wchar_t* b, std::uint64_t n,
                                      bool case_sensitive) noexcept;

// Whether both are null, or both are texts that compare equal.
[[nodiscard]] ZTK_API bool StrEqual(const char* a, const char* b, bool case_sensitive) noexcept;
[[nodiscard]] ZTK_API bool StrEqual(const wchar_t* a, const wchar_t* b,
                                    bool case_sensitive) noexcept;

// --- Search ---
// Results are pointers into the searched string, or null. Texts are compared exactly.

// The first match of find that lies wholly inside the first limit elements of s; limit 0, or one
// above the length, searches all of s. A bad or empty find gives the terminator of s. Null if s is
// null or empty, or nothing matches.
[[nodiscard]] ZTK_API const char* StrSearch(const char* s, const char* find,
                                            std::uint64_t limit) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrSearch(const wchar_t* s, const wchar_t* find,
                                               std::uint64_t limit) noexcept;

// StrSearch over the whole string.
[[nodiscard]] ZTK_API const char* StrFind(const char* s, const char* find) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrFind(const wchar_t* s, const wchar_t* find) noexcept;

// The first element equal to c. Null for a bad or empty s, for c = 0, and when c does not occur.
[[nodiscard]] ZTK_API const char* StrFind(const char* s, char c) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrFind(const wchar_t* s, wchar_t c) noexcept;

// Exactly StrFind(s, c): the limit of the character form is ignored, so that both find the same.
[[nodiscard]] ZTK_API const char* StrSearch(const char* s, char c, std::uint64_t limit) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrSearch(const wchar_t* s, wchar_t c,
                                               std::uint64_t limit) noexcept;

// The last match of find that starts at or before from and not before begin; it may extend past
// from. A bad or empty find gives EndOfString(from), wherever begin is. Null if begin or from is
// null, from lies before begin, or nothing matches. REQUIRES: begin and from point into one string.
[[nodiscard]] ZTK_API const char* StrRevFind(const char* begin, const char* from,
                                             const char* find) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrRevFind(const wchar_t* begin, const wchar_t* from,
                                                const wchar_t* find) noexcept;

// The last element equal to c from `from` down to begin, both included; c = 0 is found if `from` is
// the terminator. Null if begin or from is null, from lies before begin, or c does not occur.
[[nodiscard]] ZTK_API const char* StrRevFind(const char* begin, const char* from, char c) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrRevFind(const wchar_t* begin, const wchar_t* from,
                                                wchar_t c) noexcept;

// --- Replace ---

// Overwrites every `from` in s by `to`, up to the terminator that s had on entry, and returns how
// many. 0 for a bad or empty s, and for from = 0, which is never found.
ZTK_API std::uint64_t StrReplace(char* s, char from, char to) noexcept;
ZTK_API std::uint64_t StrReplace(wchar_t* s, wchar_t from, wchar_t to) noexcept;

// A heap copy of s with every find replaced by repl, left to right, matches not overlapping and
// inserted text not searched again. The caller releases it with StrFree or MemFree. Null if s, find
// or repl is bad or find is empty, and when memory is short.
[[nodiscard]] ZTK_API const char* StrReplace(const char* s, const char* find,
                                             const char* repl) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrReplace(const wchar_t* s, const wchar_t* find,
                                                const wchar_t* repl) noexcept;

// --- Convert, format, parse ---

// text in the other width, as a ring string. code_page: 0 the system's narrow code page (UTF-8 on
// Linux), 65001 UTF-8, others by number as far as the system has them. Malformed input and lone
// surrogates become U+FFFD; what a narrow page lacks becomes '?', or on Windows a similar character
// of the page. Null for a null or empty text, a code page that is unknown or that there is no
// memory to use, and a result of more than 512000 elements, terminator included; for longer text,
// and for counted one, see ztk/text.h.
[[nodiscard]] ZTK_API const char* StrConvert(const wchar_t* text, unsigned int code_page) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrConvert(const char* text, unsigned int code_page) noexcept;

// printf into a ring string; %s takes text of the format's own width, %S of the other, %hs narrow
// and %ls wide text in both. A null text prints "(null)".
//
// The same on both targets: d i u o x X c s p %% with the sizes h l ll I I32 I64, where %ld takes
// the target's own long (a DWORD prints with %u). What differs:
//   - f e E g G follow the C standard on Linux. On Windows an exponent has three digits (1e+010, on
//     Linux 1e+10), a tie is rounded away from zero ("%.0f" makes 3 of 2.5, on Linux 2), and
//     infinity and what is no number begin with 1.# (1.#INF, on Linux inf and nan).
//   - Text and characters of the other width (%S %C, %ls %lc in a narrow format, %hs %hc in a wide
//     one) go through UTF-8 on Linux; malformed input becomes U+FFFD. On Windows a byte is the
//     character of the same code, and a character above U+00FF makes the format fail. Only ASCII
//     reads the same: StrConvert is for the rest.
//   - F a A and the sizes hh j z t L are those of the C standard on Linux. On Windows they print
//     nothing or other digits, or take an argument of another size.
//   - An unknown conversion, and %n, makes the format fail on Linux. On Windows the system's C
//     runtime does with it what it likes.
//
// Null, not an empty string, when the result is empty, format is null or fails, and for a result of
// 512000 elements or more, for which no memory is taken. A success takes one ring string, a failure
// none. What a width or precision beyond that costs is up to the C runtime on Windows; on Linux it
// costs nothing. REQUIRES: the arguments are of the types that the format names.
[[nodiscard]] ZTK_API const char* StrFormat(const char* format, ...) noexcept;
[[nodiscard]] ZTK_API const wchar_t* StrFormat(const wchar_t* format, ...) noexcept;

// The decimal number at the start of s: one optional sign, then digits up to the first other
// element. No blanks are skipped, and the value wraps at 32 bits. 0 for null, or when there are no
// digits.
[[nodiscard]] ZTK_API int StrToIntA(const char* s) noexcept;
[[nodiscard]] ZTK_API int StrToIntW(const wchar_t* s) noexcept;

}  // namespace ZTK
