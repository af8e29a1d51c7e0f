// Search terms for the searches of a text buffer (ztk/buffer.h).
//
//     ZTK::CSearchQuery<char> query;
//     query.SetTerm("breakpoint", 0, true);           // true: for searches that ignore case
//     ZTK::CBuffer<char> log;
//     log.Load(file);
//     const DWORD hits = log.Search(ZTK::SEARCH_IGNORE_CASE, query);
//     for (DWORD i = 0; i < hits; ++i) {
//         int line_number = 0;
//         if (const char* line = log.GetResult(static_cast<int>(i), line_number)) Show(line);
//     }
#pragma once

#include <cstdint>
#include <type_traits>

#include "ztk/platform.h"

namespace ZTK {

template <class T>
class ZTK_API CBuffer;  // with its mark, as a compiler may heed the first declaration only

// The flags of a search, which may be combined. Other bits have no effect.

// ASCII letters that differ in case only are equal. The term is to be set with fold true.
inline constexpr DWORD SEARCH_IGNORE_CASE = 1;
// A match counts only between two word delimiters (CBuffer::IsWordDelimeter). The start and the end
// of the text are such.
inline constexpr DWORD SEARCH_WHOLE_WORD = 2;

// Called before each comparison of the term with a place in the text, on the searching thread, with
// the context that was given to the search. True ends the search. It must not change the buffer or
// the query; an exception that it throws passes through the search, which keeps the hits found.
using SearchCancelFn = bool (*)(void* context);

// A term, prepared for any number of searches. T is char or wchar_t; "character" is one T.
//
// Ownership: the query owns copies of what it is given.
//
// Errors: when memory is short, SetTerm leaves the query without a term, the earlier one included;
// searches then find nothing.
//
// Thread-safety: searches do not change a query, so it may serve several threads at once as long as
// nobody calls SetTerm or assigns to it. The static functions may be called from any thread.
template <class T>
class ZTK_API CSearchQuery {
    static_assert(std::is_same_v<T, char> || std::is_same_v<T, wchar_t>,
                  "the library holds CSearchQuery<char> and CSearchQuery<wchar_t>");

  public:
    // No term: searches find nothing.
    CSearchQuery() noexcept = default;

    CSearchQuery(const CSearchQuery&) = delete;

    // Member-wise: both queries then share one term, and what this one held before is not released.
    // Only one of the two may be destroyed or given another term; the other must end its life
    // without its destructor.
    CSearchQuery& operator=(const CSearchQuery& other) noexcept;

    ~CSearchQuery();

    // Replaces the term by a copy of the terminated text term; a null term counts as empty. The
    // number is ignored. fold: prepare for searches with SEARCH_IGNORE_CASE. Such a query serves
    // exact searches as well, with somewhat shorter moves. A query without fold makes a search that
    // ignores case miss matches whose letters differ in case from the term.
    void SetTerm(const T* term, unsigned int, bool fold) noexcept;

    // What stands for a character in the table of moves: of a char its distance from 0 as a signed
    // number (0x41 gives 65, 0xFF gives 1, 0x80 gives 128), a wchar_t as it is.
    [[nodiscard]] static unsigned short ToBase(T c) noexcept;

    // A copy of the terminated text s with its ASCII letters in lower, or upper, case. The caller
    // releases it with delete[]. It comes from operator new[]: a host on Linux shares that with the
    // library, and a host on Windows does if both use the DLL of the C++ runtime and the program
    // does not bring its own operator new. An empty text for null; null when memory is short.
    [[nodiscard]] static char* MakeLower(const char* s) noexcept;
    [[nodiscard]] static wchar_t* MakeLower(const wchar_t* s) noexcept;
    [[nodiscard]] static char* MakeUpper(const char* s) noexcept;
    [[nodiscard]] static wchar_t* MakeUpper(const wchar_t* s) noexcept;

    // The characters before the terminator; 0 for null.
    [[nodiscard]] static std::uint64_t StringLength(const char* s) noexcept;
    [[nodiscard]] static std::uint64_t StringLength(const wchar_t* s) noexcept;

  private:
    friend class CBuffer<T>;

    ZTK_LOCAL void Clear() noexcept;

    T* term_ = nullptr;              // terminated; on the C runtime's heap, as the table is
    std::uint64_t length_ = 0;       // characters
    std::uint16_t* skip_ = nullptr;  // the move for each key below skip_size_
    std::uint16_t skip_size_ = 0;    // a key from here on moves by the whole term
    bool folded_ = false;            // the table knows both cases of the term's letters
};

extern template class CSearchQuery<char>;
extern template class CSearchQuery<wchar_t>;

}  // namespace ZTK
