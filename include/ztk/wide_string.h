// The owning wide string: UTF-16 text with the searching, cutting and tokenising that agents need.
//
//     ZTK::String path(L"C:\\agents\\probe.exe");
//     const std::uint64_t slash = path.Find(L"\\", 3);          // 9
//     ZTK::String name = path.SubStr(slash + 1);                // probe.exe
//
//     ZTK::String list(L"read,write,step");
//     for (int cursor = 0; cursor >= 0 && cursor < static_cast<int>(list.GetLength());) {
//         Handle(list.Tokenize(L',', cursor).GetBuffer());
//     }
#pragma once

#include <concepts>
#include <cstdint>

#include "ztk/platform.h"

namespace ZTK {

// A zero-terminated text in a buffer of its own. "Character" is one UTF-16 unit; positions and
// lengths count characters, without the terminator.
//
// Some operations differ from the usual string classes, and callers rely on it: a position not
// found is npos, 0xFFFFFFFF and not the largest 64-bit value; RFind counts its position from the
// end; SubStr refuses a range that runs past the end; Replace of a text returns the new length; a
// growing SetSize empties the string; CountOf passes over the first character; operator+ appends to
// its left operand.
//
// Ownership: copies are deep. The buffer belongs to the string; a pointer from GetBuffer or from
// the conversion is valid until the next operation that may store more text, and never freed by the
// caller. Texts passed in are copied, and may point into the string's own buffer.
//
// Growth: the first buffer holds 260 characters. An operation that stores text makes room for the
// text and the current length together, exactly, and never gives room back. Whoever appends in many
// small steps calls SetSize first.
//
// Errors: nothing throws. When memory runs out the string has no buffer: its text is lost,
// GetBuffer gives null, and the operation stores nothing. That holds for every operation that may
// store more text: assigning, appending, SetSize, Replace and Trim. A string without a buffer reads
// as an empty one, except that Beginswith is true; appending does nothing to it. It gets a buffer
// again from SetSize, or from an assignment of a text longer than its room. That room is 0 after a
// growth that failed, 260 if the very first buffer was refused, and n if a SetSize(n) was refused
// to a string without a buffer.
//
// Thread-safety: a string is used by one thread at a time.
class ZTK_API String {
  public:
    // The position of what was not found; for SubStr, "up to the end".
    static const std::uint64_t npos = 0xFFFFFFFF;

    // Null gives an empty string, and so does the character 0.
    String() noexcept;
    String(const wchar_t* s) noexcept;
    String(wchar_t c) noexcept;
    String(const String& other) noexcept;
    ~String();

    // --- Assignment. Null stores the empty text, and so does the character 0. With operator=, the
    // string itself, or the start of its own buffer, is left as it is.

    String& operator=(const String& other) noexcept;
    String& operator=(const wchar_t* s) noexcept;
    String& operator=(wchar_t c) noexcept;
    void Assign(const wchar_t* s) noexcept;

    // --- Appending. Null, and the character 0, append nothing.

    void Append(const wchar_t* s) noexcept;
    String& operator+=(const wchar_t* s) noexcept;
    String& operator+=(wchar_t c) noexcept;

    // Appends other to this string and returns this string: `a + b` changes a and makes no new one.
    String& operator+(String& other) noexcept;

    // --- Comparison by unsigned character value. A string without a buffer, and a null text, sort
    // before every text and equal each other; an empty string does not equal null.
    // case_sensitive false folds 'A'-'Z' onto 'a'-'z'.

    [[nodiscard]] bool operator==(const String& other) const noexcept;
    [[nodiscard]] bool operator==(const wchar_t* s) const noexcept;
    [[nodiscard]] bool operator!=(const wchar_t* s) const noexcept;
    [[nodiscard]] bool operator<(const String& other) const noexcept;
    [[nodiscard]] bool operator<(const wchar_t* s) const noexcept;
    [[nodiscard]] bool operator>(const wchar_t* s) const noexcept;

    // The same for a text that the caller may write to, which would otherwise be ambiguous with a
    // comparison of addresses.
    template <std::same_as<wchar_t> Char>
    [[nodiscard]] bool operator==(Char* s) const noexcept {
        return *this == static_cast<const wchar_t*>(s);
    }
    template <std::same_as<wchar_t> Char>
    [[nodiscard]] bool operator!=(Char* s) const noexcept {
        return *this != static_cast<const wchar_t*>(s);
    }
    template <std::same_as<wchar_t> Char>
    [[nodiscard]] bool operator<(Char* s) const noexcept {
        return *this < static_cast<const wchar_t*>(s);
    }
    template <std::same_as<wchar_t> Char>
    [[nodiscard]] bool operator>(Char* s) const noexcept {
        return *this > static_cast<const wchar_t*>(s);
    }

    // There is no such comparison of texts. Without these lines the conversion to a pointer would
    // make it one of addresses.
    bool operator<=(const String& other) const = delete;
    bool operator>=(const String& other) const = delete;

    // Below, equal to or above 0 as this sorts before, with or after other; only the sign counts.
    [[nodiscard]] int Compare(const String& other, bool case_sensitive = true) const noexcept;
    [[nodiscard]] bool Equal(const wchar_t* s, bool case_sensitive = true) const noexcept;

    // --- Access

    // The number of characters, counted anew by each call; and whether there are none. Without a
    // buffer: 0 and true.
    [[nodiscard]] std::uint64_t GetLength() const noexcept;
    [[nodiscard]] bool IsEmpty() const noexcept;

    // The text, terminated; null without a buffer. What the conversion gives may be written to, up
    // to the length.
    [[nodiscard]] const wchar_t* GetBuffer() const noexcept;
    operator wchar_t*() noexcept;

    // The character at i; 0 behind the end. (The second form takes an index of any integer type,
    // which would otherwise be ambiguous with one into the converted pointer.)
    [[nodiscard]] wchar_t GetAt(std::uint64_t i) const noexcept;
    [[nodiscard]] wchar_t operator[](std::uint64_t i) const noexcept;
    template <std::integral Index>
    [[nodiscard]] wchar_t operator[](Index i) const noexcept {
        return GetAt(static_cast<std::uint64_t>(i));
    }

    // Stores c at i, if i is below the length. c = 0 ends the text there.
    void SetAt(std::uint64_t i, wchar_t c) noexcept;

    // Makes room for n characters, the terminator not counted. Growing empties the string; when
    // there is room already, nothing happens and the text stays.
    void SetSize(std::uint64_t n) noexcept;

    // Empties the string. Its room stays.
    void Clear() noexcept;

    // --- Searching, by exact comparison

    // The first match at or after pos, or npos. An empty or null s is found at the end. Nothing is
    // found in an empty rest, nor from a pos behind the end; the character 0 is never found.
    [[nodiscard]] std::uint64_t Find(const wchar_t* s, std::uint64_t pos = 0) const noexcept;
    [[nodiscard]] std::uint64_t Find(wchar_t c, std::uint64_t pos = 0) const noexcept;

    // The last match that starts at index length - pos or before, or npos: pos counts from the end,
    // so that pos 0 and pos 1 find the last of the whole string. A match of s may run on past that
    // index. npos if pos is not below the length.
    //
    // An empty or null s gives the length for a pos above 0, npos for pos 0. The character 0 is
    // found at the end, for pos 0 only.
    [[nodiscard]] std::uint64_t RFind(const wchar_t* s, std::uint64_t pos = 0) const noexcept;
    [[nodiscard]] std::uint64_t RFind(wchar_t c, std::uint64_t pos = 0) const noexcept;

    // Whether the string starts with s. False for an empty or null s, and on an empty string; true
    // without a buffer.
    [[nodiscard]] bool Beginswith(const wchar_t* s) const noexcept;

    // Whether s occurs. True for an empty or null s, unless the string is empty.
    [[nodiscard]] bool Contains(const wchar_t* s) const noexcept;

    // How many c there are behind the first character, which is never counted. c = 0 counts the
    // terminator. 0 for an empty string.
    [[nodiscard]] int CountOf(wchar_t c) const noexcept;

    // --- Editing

    // Replaces every find by repl, left to right, and returns the length of the string afterwards,
    // whether or not anything was replaced. An empty or null find, and a null repl, change nothing.
    //
    // The new text is made in a block of its own and then stored. When memory is short for that
    // block, nothing changes; when it is short for the room to store it in, the text is lost, as in
    // every growth that fails, and the result is 0.
    std::uint64_t Replace(const wchar_t* find, const wchar_t* repl) noexcept;

    // Replaces every from by to and returns how many there were. to = 0 ends the text at the first
    // of them; from = 0 is never found.
    std::uint64_t Replace(wchar_t from, wchar_t to) noexcept;

    // 'A'-'Z' become 'a'-'z'.
    void MakeLower() noexcept;

    // Removes every character of set from both ends and returns how many were removed; 0 for a null
    // or empty set. Stores the rest as an assignment does: when memory is short the whole text is
    // lost, and counts as removed.
    std::uint64_t Trim(const wchar_t* set) noexcept;

    // --- Cutting

    // The count characters from pos, as a string of its own. Empty if the range runs past the end,
    // which is not clipped, or starts there, and for a pos whose low 32 bits are 0x80000000 or
    // more. When memory is short the result has no buffer.
    [[nodiscard]] String SubStr(std::uint64_t pos, std::uint64_t count = npos) const noexcept;

    // The text from cursor up to the next delimiter, or up to the end; cursor moves behind the
    // delimiter, or becomes -1 behind the last piece. Adjacent delimiters give empty pieces; with
    // null or empty delimiters the whole rest is one piece.
    //
    // A cursor below 0, or not below the length, gives an empty piece and stays. A delimiter at the
    // very end leaves the cursor there, at the length: a loop ends on that as well as on -1. When
    // memory is short the piece has no buffer, and the cursor moves all the same.
    //
    // REQUIRES: the length is below 2^31.
    String Tokenize(const wchar_t* delimiters, int& cursor) const noexcept;
    String Tokenize(wchar_t delimiter, int& cursor) const noexcept;

  private:
    ZTK_LOCAL void Construct() noexcept;
    ZTK_LOCAL bool Resize(std::uint64_t capacity) noexcept;
    ZTK_LOCAL bool Reserve(std::uint64_t required, const wchar_t*& text) noexcept;
    ZTK_LOCAL void Store(const wchar_t* text, std::uint64_t count) noexcept;
    ZTK_LOCAL void Concatenate(const wchar_t* text, std::uint64_t count) noexcept;
    [[nodiscard]] ZTK_LOCAL bool Holds(std::uint64_t i) const noexcept;

    std::uint64_t capacity_;  // characters before the terminator; may be above 0 without a buffer
    wchar_t* buffer_;  // capacity_ + 1 characters on the C runtime's heap, terminated; or null
};

}  // namespace ZTK
