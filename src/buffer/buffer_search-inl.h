// CBuffer's searches. Bodies for buffer.cpp only.
#pragma once

#include <cstdint>
#include <limits>
#include <new>

#include "buffer/buffer_hits-inl.h"
#include "buffer/char_tests.h"
#include "buffer/line_counter.h"
#include "buffer/ptr_array-inl.h"
#include "buffer/term_finder.h"
#include "platform/memory/allocation.h"
#include "ztk/buffer.h"
#include "ztk/search.h"

namespace ZTK {
namespace buffer {

// Whether no word goes on at either side of a match.
template <class T>
bool IsWholeWord(const T* text, std::size_t count, std::size_t start, std::size_t end) noexcept {
    return (start == 0 || !IsWordPart(text[start - 1])) && (end == count || !IsWordPart(text[end]));
}

// Calls on_match with each match of the term, in order, until it returns false.
template <class T, bool kIgnoreCase, class OnMatch>
void EachMatch(const T* text, std::size_t count, const SearchTerm<T>& term, SearchCancelFn cancel,
               void* context, OnMatch on_match) {
    TermFinder<T, kIgnoreCase> finder(text, count, term);
    if (cancel == nullptr) {
        std::size_t match = finder.Next(0);
        while (match != finder.kNone && on_match(match)) {
            match = finder.Next(match + term.length);
        }
        return;
    }
    std::size_t at = 0;
    while (at <= finder.LastAlignment() && !cancel(context)) {
        std::size_t move = finder.MoveFrom(at);
        if (move == 0) {
            if (!on_match(at)) {
                break;
            }
            move = term.length;
        }
        at += move;
    }
}

}  // namespace buffer

// An empty list of hits; false if there is no memory for one.
template <class T>
bool CBuffer<T>::RenewHits() noexcept {
    if (hits_ != nullptr) {
        hits_->Rewind();
        return true;
    }
    constexpr int kGrowBy = 1000;
    void* const memory = allocation::RuntimeAlloc(sizeof(Hits));
    if (memory != nullptr) {
        hits_ = ::new (memory) Hits(kGrowBy);
    }
    return hits_ != nullptr;
}

template <class T>
DWORD CBuffer<T>::Search(const T* text, int n, DWORD flags, CSearchQuery<T>& query,
                         SearchCancelFn cancel, void* context, T lineDelimiter) {
    const auto length = static_cast<std::uint32_t>(query.length_);
    if (text == nullptr || n <= 0 || length == 0 || !RenewHits()) {
        return 0;
    }
    const auto count = static_cast<std::uint32_t>(n);
    if (length > count) {
        return 0;
    }
    const bool ignore_case = (flags & SEARCH_IGNORE_CASE) != 0;
    const bool whole_word = (flags & SEARCH_WHOLE_WORD) != 0;
    const bool is_complete =
        query.skip_size_ != 0 && query.length_ == length && (query.folded_ || !ignore_case);
    const buffer::SearchTerm<T> term = {query.term_, length, query.skip_, query.skip_size_,
                                        is_complete};
    // Lines are counted from hit to hit only.
    buffer::LineCounter<T> lines(text, lineDelimiter);
    const auto on_match = [&](std::size_t at) {
        if (whole_word && !buffer::IsWholeWord(text, count, at, at + length)) {
            return true;
        }
        lines.AdvanceTo(at);
        return hits_->Append(
            static_cast<std::int64_t>(lines.Start()) * buffer::kHitPosition + lines.Line(), false);
    };
    if (ignore_case) {
        buffer::EachMatch<T, true>(text, count, term, cancel, context, on_match);
    } else {
        buffer::EachMatch<T, false>(text, count, term, cancel, context, on_match);
    }
    return static_cast<DWORD>(hits_->Count());
}

template <class T>
DWORD CBuffer<T>::Search(DWORD flags, CSearchQuery<T>& query) {
    return Search(text_, length_, flags, query, nullptr, nullptr, T{0});
}

template <class T>
DWORD CBuffer<T>::Search(void* file, DWORD flags, CSearchQuery<T>& query, SearchCancelFn cancel,
                         void* context) {
    DWORD high = 0;
    const DWORD size = GetFileSize(file, &high);
    // This refuses INVALID_FILE_SIZE as well, which a failure returns.
    if (high != 0 || size > static_cast<DWORD>(std::numeric_limits<int>::max())) {
        return 0;
    }
    DWORD read = 0;
    if (Realloc(static_cast<int>(size)) == nullptr ||
        ReadFile(file, text_, size, &read, nullptr) == 0) {
        return 0;
    }
    // Bytes against characters, in a wide buffer too. The text has changed, its length has not.
    if (read < query.length_) {
        return 0;
    }
    length_ = static_cast<int>(read / sizeof(T));
    return Search(text_, length_, flags, query, cancel, context, T{'\n'});
}

}  // namespace ZTK
