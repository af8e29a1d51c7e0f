// A growable text buffer for narrow and wide (UTF-16) text: loads a text file line by line, cuts
// its own text in place into lines or delimited fields, and searches (see ztk/search.h for an
// example).
//
//     std::FILE* file = std::fopen("agent.log", "r");
//     ZTK::CBuffer<char> log;
//     const int lines = log.Load(file);
//     std::FILE* const none = nullptr;               // "no stream": ask for a stored line
//     for (int i = 0; i < lines; ++i) {
//         if (const char* line = log.GetNext(none, i)) Show(line);
//     }
//
// The text is counted, not terminated: its length is what the buffer was given, and a character of
// an older, longer text can stand behind its end. See CBuffer.
#pragma once

#include <cstdint>
#include <cstdio>
#include <type_traits>

#include "ztk/platform.h"
#include "ztk/ptr_array.h"
#include "ztk/search.h"

namespace ZTK {

// One text, the list of its lines or fields, and the list of the hits of the last search in it. T
// is char or wchar_t; "character" is one T.
//
// Ownership: the buffer owns its text and both lists. Pointers into the text that it hands out
// (GetBuffer, GetNext, GetResult) stay valid until the text grows beyond its storage or is freed; a
// line also reads differently once its characters are overwritten by a new text. Storage grows when
// an operation needs more bytes than Realloc, SetLength, SetSize, ReAllocForFile or earlier text
// has made room for.
//
// Growth is exact: nothing is added to what is asked for. Whoever appends in many small steps makes
// room first.
//
// Terminator: fresh storage reads zero up to and including one character behind its end, so a
// buffer that only ever grew is terminated at its length. Appending writes no terminator: after a
// longer text has been replaced by a shorter one (Reset, assignment, Load, SetLength, SetSize) the
// old characters remain behind the new end. A buffer that held "hello" and is assigned "hi" has
// length 2 and reads "hillo".
//
// Errors: memory that runs out, and a text that would pass 2147483647 bytes, empties the buffer:
// storage, length, lines and hits are gone, and the operation that needed the room stores nothing.
// Only Realloc reports it. The buffer can be used again afterwards, as it can after Free.
//
// Thread-safety: a buffer is used by one thread at a time. Malloc and the character tests may be
// called from any thread.
template <class T>
class ZTK_API CBuffer {
    static_assert(std::is_same_v<T, char> || std::is_same_v<T, wchar_t>,
                  "the library holds CBuffer<char> and CBuffer<wchar_t>");

  public:
    // An empty buffer without storage; with s, a copy of s unless it is null or empty.
    CBuffer() noexcept;
    CBuffer(T* s) noexcept;

    CBuffer(const CBuffer&) = delete;

    // Member-wise: both buffers then share text, hit list and lines, and what this one held before
    // is not released. Only one of the two may be destroyed, freed, or made to grow; the other must
    // end its life without its destructor (storage that is never destroyed, as in a placement new).
    CBuffer& operator=(const CBuffer& other) noexcept;

    ~CBuffer();

    // Replaces the text by s; by nothing if s is null or empty. Lines and hits are dropped.
    CBuffer& operator=(const T* s) noexcept;

    // --- Comparison, up to the first NUL of each text, by unsigned character value

    // 1 if the text equals s, else 0. A buffer without storage equals null only.
    [[nodiscard]] int operator==(const T* s) const noexcept;

    // Below, equal to or above 0 as this text sorts before, with or after the other's. A buffer
    // without storage sorts first.
    [[nodiscard]] int Compare(const CBuffer& other) const noexcept;

    // --- Appending. s may point into this buffer's own text. A null or empty s, and an n below 1,
    // append nothing. REQUIRES: s has n characters, of whatever value.

    // Append one character, a text up to its terminator, or n characters.
    CBuffer& operator+=(T c) noexcept;
    CBuffer& operator+=(const T* s) noexcept;
    void Add(T c) noexcept;
    void Add(const T* s) noexcept;
    void Add(const T* s, int n) noexcept;

    // --- Storage. A size below 1 asks for nothing; one above 2147483647 bytes is refused as memory
    // that runs out is.

    // The text; null while there is no storage. May be written to within the room that was made.
    operator T*() const noexcept;
    [[nodiscard]] T* GetBuffer() const noexcept;

    // Makes room for bytes bytes (not characters) of text, besides the terminator. The text and its
    // length stay, but it may move, and then pointers into it, lines included, are stale. Returns
    // the text, or null when there is none: nothing was asked for since the buffer was made or
    // freed, or memory was short.
    T* Realloc(int bytes) noexcept;

    // Makes room for all characters of the file behind fp: its length in bytes, twice that for a
    // wide buffer. Returns that number of bytes, also when memory is short; when the length cannot
    // be told (no regular file, 2 GiB or more) -1, or -2 for a wide buffer, and makes no room. A
    // wide file of 1 GiB or more counts as one of those. REQUIRES: fp is an open stream.
    int ReAllocForFile(std::FILE* fp);

    // Length, line count and hit count become 0. Storage and its characters stay.
    void Reset() noexcept;

    // Reset, then room for n characters, or for n bytes. The length stays 0.
    void SetLength(int n) noexcept;
    void SetSize(int n) noexcept;

    // Releases the text and the hit list; length and line count become 0. The records of the lines
    // are kept for the next ones.
    void Free() noexcept;

    // --- Reading a stream. A carriage return is dropped, a line feed is stored as NUL; a NUL from
    // the file ends a line just as a line feed does. End of file and a read or decoding error end
    // the reading alike; feof and ferror tell which it was. REQUIRES: the stream is one of the C
    // runtime that the library itself uses (on Windows, msvcrt).
    //
    // A narrow buffer reads bytes, those of a byte-order mark too. A wide one reads wide characters
    // as fgetwc does: the mode in which the stream was opened decides how the file is decoded, and
    // the buffer recognises nothing by itself. A character beyond 16 bits becomes a surrogate pair.
    //
    //   - "r,ccs=UTF-8", "r,ccs=UTF-16LE": A byte-order mark at the start of a regular file is
    //     passed over. On Windows a mark of the other of the two overrules the mode.
    //   - "r,ccs=UNICODE": UTF-16 of the byte order that its mark tells, else little-endian. On
    //     Windows a mark of UTF-8 is understood as well, one of big-endian UTF-16 is not, and
    //     without a mark the file is in the ANSI code page.
    //   - "r": On Linux in the encoding of the process's locale (plain ASCII in the "C" locale), on
    //     Windows a byte is a character. A byte-order mark is text.
    //   - Other modes, on Linux only: UTF-16 is UNICODE by another name; for the rest REQUIRES: the
    //     text is trusted. The C library ends the process over some input that its decoders make
    //     nothing of. That holds for UNICODE and UTF-16, too, where a terminal brings a mark alone.
    //
    // Bytes that do not decode end the reading on Linux, and what stands behind them is not read;
    // on Windows they become U+FFFD. Half a character at the end of a file is left out. GetNext has
    // closed the stream by then: whoever must know of an error uses Load and ferror.

    // Replaces the text by the rest of the stream and the lines by its lines, and returns their
    // number. A last line needs no line feed. 0 for a null fp, with the buffer emptied. The stream
    // is left at its end and open.
    //
    // Storage is sized by the length of the file first; a stream that has none (a pipe) is read
    // into storage that grows as needed. When memory is short for the text or the list of lines,
    // the result is 0, the buffer is empty, and the stream has been read in part; a line without a
    // record counts, and GetNext gives null for it. Uses 64 KiB of the stack.
    int Load(std::FILE* fp);

    // With an fp: appends the next line of the stream, adds it to the lines and returns it. At end
    // of file or on an error, closes the stream, sets fp to null and returns null; characters of a
    // last line that has no line feed are then at the end of the text, but they are no line. index
    // is ignored.
    //
    // With a null fp: returns line index as stored by Load, GetNext, ToLines or Split; null if
    // there is no such line, or memory for its record was short.
    //
    // Lines point into the text and do not follow it when it moves: call ReAllocForFile before
    // reading a file line by line. When memory is short, the line is read and lost, the buffer is
    // empty, and the result is null with fp still set.
    T* GetNext(std::FILE*& fp, int index);

    // --- Cutting the text in place: each line feed, or each delimiter, is overwritten by NUL, and
    // the pieces become the lines. Consecutive cuts give empty pieces, a cut at the very end gives
    // none behind it; what remains behind the last cut is terminated and becomes the last piece.
    // Returns whether there is a piece. When memory for the list of lines is short, the result is
    // false and the buffer is empty; a piece without a record counts, as in Load.

    // Carriage returns stay. False at once, with the lines as they were, for an empty text and for
    // one that begins with NUL.
    bool ToLines() noexcept;

    // False at once, with the lines as they were, only if there is no storage.
    bool Split(T delimiter) noexcept;

    // --- Searching. The result is the number of hits, which replace those of the last search.
    //
    // The term is compared with the text at one place after another, from the left; matches do not
    // overlap. A hit is the line that a match starts in, so a line with two matches is two hits.
    //
    // How far a search goes on from a place is a promise, because it decides what is found: after a
    // match, or one dropped for SEARCH_WHOLE_WORD, by the term's length; else by the query's move
    // for the character under the term's last one; but if that one matched and then the first k
    // characters did and not the next, by the move for the character k places further right. The
    // last rule can step over a match: "aabb" is not found in "aaabbx". It concerns only matches
    // that start within a partial match of at least two characters, its first and its last.
    //
    // Nothing outside the text is read; what is behind its end counts as NUL. A search without
    // cancel finds the same much faster.
    //
    // Errors: a null or empty text, an n below 0, and a query without a term give 0 and leave the
    // hits as they were; so does a lack of memory for the first list of hits. A term longer than
    // the text gives 0 with no hits. When memory runs out later, hits without a record still count
    // and read as line 0 at the start of the text, and when nothing can be added at all the search
    // ends.

    // Searches the buffer's text; each NUL ends a line, as Load stores them.
    DWORD Search(DWORD flags, CSearchQuery<T>& query);

    // Searches n characters at text, wherever they are. cancel may be null; it is called once for
    // each place compared, and must not change the buffer. The hits before a cancelled end remain.
    // An exception that it throws ends the search and leaves them, too.
    DWORD Search(const T* text, int n, DWORD flags, CSearchQuery<T>& query, SearchCancelFn cancel,
                 void* context, T lineDelimiter);

    // Reads the rest of a file, from the handle's position, in one request and searches it; each
    // line feed ends a line. The bytes are taken as they are, a byte-order mark too. file: a handle
    // that was opened with CreateFileW for reading; it stays open, at the end of the file.
    //
    // The text is replaced, and its length with it; lines of an earlier text stay and now point to
    // other characters. A wide buffer leaves out an odd byte at the end.
    //
    // 0 with the buffer as it was if the file's size cannot be told or is 2 GiB or more; 0 with an
    // empty buffer if memory is short; 0 with the text replaced, but not its length, if reading
    // fails or gives fewer bytes than the term has characters. In all three cases the hits are
    // those of the last search, if the buffer was not emptied.
    DWORD Search(void* file, DWORD flags, CSearchQuery<T>& query, SearchCancelFn cancel,
                 void* context);

    // --- The hits of the last search

    // The start of the line that holds hit i, and the line's number, from 1. Null, with line_number
    // as it was, if i is not below the number of hits or nothing was searched yet. A negative i
    // reads as a hit in line 0 at the start of the text.
    //
    // The start is always told as a place in this buffer's text. After a search of memory elsewhere
    // it is as far from the start of the buffer's text as the line is from the start of that
    // memory, and can lie behind the buffer's end; without a text it is null, with line_number set.
    T* GetResult(int i, int& line_number) const noexcept;

    // The number of hits.
    [[nodiscard]] int GetResultCount() const noexcept;

    // The length of that line in this buffer's text: up to the first NUL, line feed or carriage
    // return, or the end of the text. 0 if i is not below the number of hits.
    [[nodiscard]] int GetResultLength(int i) const noexcept;

    // --- Memory

    // size bytes, not filled, from the malloc of the C runtime that the library uses, for the
    // caller to release with its free. Null when memory is short. Independent of every buffer; may
    // be called from any thread.
    [[nodiscard]] static void* Malloc(std::uint64_t size) noexcept;

    // --- Character tests. Which overload is called decides, not the buffer's T.

    // 1 if the first characters of a and b are equal, with ignore_case also if they differ in ASCII
    // case only. 0 if one of the pointers is null.
    [[nodiscard]] static int CharEqual(const char* a, const char* b, bool ignore_case) noexcept;
    [[nodiscard]] static int CharEqual(const wchar_t* a, const wchar_t* b,
                                       bool ignore_case) noexcept;

    // Whether *ch is printable; false for null. Bytes from 0x80 up are not. Wide characters follow
    // the C runtime's iswprint: on Linux only ASCII ones are printable.
    [[nodiscard]] static bool IsPrintable(const char* ch) noexcept;
    [[nodiscard]] static bool IsPrintable(const wchar_t* ch) noexcept;

    // 0 for a character that can be part of a word, which are letters and digits; else 1, also for
    // an underscore. Every byte from 0x80 up is a delimiter. Wide characters beyond ASCII follow
    // the C runtime's iswalnum: on Linux they are all delimiters, on Windows letters of other
    // scripts are not.
    [[nodiscard]] static int IsWordDelimeter(char ch) noexcept;
    [[nodiscard]] static int IsWordDelimeter(wchar_t ch) noexcept;

  private:
    using Hits = CPtrArray<std::int64_t>;

    ZTK_LOCAL T* AddLine(T* start, T* end) noexcept;
    ZTK_LOCAL T* CutAt(T cut) noexcept;
    ZTK_LOCAL bool CutAll(T cut) noexcept;
    ZTK_LOCAL bool Append(const T* s, std::int64_t n) noexcept;
    ZTK_LOCAL bool EnsureRoom(std::int64_t bytes) noexcept;
    ZTK_LOCAL bool SizeForFile(std::FILE* fp, int& bytes) noexcept;
    ZTK_LOCAL bool FindHit(int i, std::int64_t& hit) const noexcept;
    ZTK_LOCAL void DropHits() noexcept;
    ZTK_LOCAL bool RenewHits() noexcept;
    ZTK_LOCAL void Clear() noexcept;

    int capacity_ = 0;      // bytes of storage besides the terminator's
    Hits* hits_ = nullptr;  // on the C runtime's heap; made by the first search
    T* text_ = nullptr;     // on the C runtime's heap; length_ is 0 while it is null
    int length_ = 0;        // characters
    CPtrArray<T*> lines_;   // into text_; no record owns its line
};

extern template class CBuffer<char>;
extern template class CBuffer<wchar_t>;

}  // namespace ZTK
