// Replacing elements in place, and texts in a copy.
#include <cstring>
#include <limits>

#include "platform/memory/allocation.h"
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

template <class Char>
std::uint64_t ReplaceElements(Char* s, Char from, Char to) noexcept {
    if (strings::IsBad(s)) {
        return 0;
    }
    // The end is fixed before anything is written: `to` may be the terminator.
    Char* const end = s + strings::Length(s);
    std::uint64_t changed = 0;
    while (const Char* found = strings::FindElement(s, from, static_cast<std::size_t>(end - s))) {
        s += found - s;
        *s++ = to;
        ++changed;
    }
    return changed;
}

template <class Char>
struct Span {
    const Char* text;
    std::size_t size;
};

template <class Char>
std::size_t CountMatches(Span<Char> s, Span<Char> find) noexcept {
    const Char* const end = s.text + s.size;
    std::size_t count = 0;
    for (const Char* p = s.text; (p = strings::FindText(p, end, find.text, find.size)) != nullptr;
         p += find.size) {
        ++count;
    }
    return count;
}

// An empty block for the result of so many replacements, or null when that is more than memory
// holds.
template <class Char>
Char* AllocateResult(Span<Char> s, Span<Char> find, Span<Char> repl, std::size_t matches) noexcept {
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max() / sizeof(Char) - 1;
    const std::size_t kept = s.size - matches * find.size;
    if (repl.size != 0 && matches > (kMost - kept) / repl.size) {
        return nullptr;
    }
    const std::size_t count = kept + matches * repl.size + 1;
    return static_cast<Char*>(allocation::ProcessAlloc(count * sizeof(Char)));
}

template <class Char>
Char* Append(Char* out, const Char* text, std::size_t count) noexcept {
    std::memcpy(out, text, count * sizeof(Char));
    return out + count;
}

// The matches are counted first, so that the copy takes one allocation and each element is moved
// once, however many replacements there are.
template <class Char>
const Char* ReplaceTexts(const Char* text, const Char* find_text, const Char* repl_text) noexcept {
    if (strings::IsBad(text) || strings::IsBad(repl_text) || strings::IsBad(find_text) ||
        *find_text == 0) {
        return nullptr;
    }
    const Span<Char> s{text, strings::Length(text)};
    const Span<Char> find{find_text, strings::Length(find_text)};
    const Span<Char> repl{repl_text, strings::Length(repl_text)};

    Char* const result = AllocateResult(s, find, repl, CountMatches(s, find));
    if (result == nullptr) {
        return nullptr;
    }
    const Char* const end = s.text + s.size;
    const Char* kept = s.text;
    Char* out = result;
    while (const Char* match = strings::FindText(kept, end, find.text, find.size)) {
        out = Append(out, kept, static_cast<std::size_t>(match - kept));
        out = Append(out, repl.text, repl.size);
        kept = match + find.size;
    }
    out = Append(out, kept, static_cast<std::size_t>(end - kept));
    *out = 0;
    return result;
}

}  // namespace

std::uint64_t StrReplace(char* s, char from, char to) noexcept {
    return ReplaceElements(s, from, to);
}
std::uint64_t StrReplace(wchar_t* s, wchar_t from, wchar_t to) noexcept {
    return ReplaceElements(s, from, to);
}

const char* StrReplace(const char* s, const char* find, const char* repl) noexcept {
    return ReplaceTexts(s, find, repl);
}
const wchar_t* StrReplace(const wchar_t* s, const wchar_t* find, const wchar_t* repl) noexcept {
    return ReplaceTexts(s, find, repl);
}

}  // namespace ZTK
