// The names met last in a load, as the parser gives them: in UTF-8, those of attributes always from
// the same place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/posix/dom/text_pool.h"
#include "platform/posix/text/short_text.h"

namespace ZTKPosix::dom {

// Most names of a document are among a few short ones. One that is found here need not be turned
// into 16-bit text to be looked up in the tree's pool. Names that share a place here displace each
// other: then each costs a look-up in the pool, which no choice of names makes slow.
class RecentNames {
  public:
    // Null when the name is not known. REQUIRES: text is whole.
    [[nodiscard]] Name* Find(const ShortText& text) const noexcept {
        const Entry* const pair = pairs_[PlaceOf(text)];
        if (pair[0].Is(text)) {
            return pair[0].name;
        }
        return pair[1].Is(text) ? pair[1].name : nullptr;
    }

    // Displaces the older of the two names in its place. The name lives at least as long as this
    // object. REQUIRES: text is whole and not empty.
    void Note(const ShortText& text, Name& name) noexcept {
        Entry* const pair = pairs_[PlaceOf(text)];
        pair[1] = pair[0];
        pair[0] = {text.Low(), text.High(), &name};
    }

  private:
    static constexpr unsigned kPlaceBits = 4;

    struct Entry {
        [[nodiscard]] bool Is(const ShortText& text) const noexcept {
            return ((begin ^ text.Low()) | (end ^ text.High())) == 0;
        }

        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        Name* name = nullptr;
    };

    static std::size_t PlaceOf(const ShortText& text) noexcept {
        constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15u;  // moves all bits to the top
        return (text.Low() ^ text.High() * 3) * kSpread >> (64 - kPlaceBits);
    }

    Entry pairs_[std::size_t{1} << kPlaceBits][2];
};

// The same for attributes alone, by where the parser keeps the name: it keeps each once, until it
// goes itself, and hands out no copies.
class AttributePlaces {
  public:
    // Null when nothing is known about the place.
    [[nodiscard]] Name* Find(const char* place) const noexcept {
        const Entry* const pair = pairs_[IndexOf(place)];
        if (pair[0].place == place) {
            return pair[0].name;
        }
        return pair[1].place == place ? pair[1].name : nullptr;
    }

    // Displaces the older of two names.
    void Note(const char* place, Name& name) noexcept {
        Entry* const pair = pairs_[IndexOf(place)];
        pair[1] = pair[0];
        pair[0] = {place, &name};
    }

    // A parser is about to go, and its memory may hold other names soon.
    void Forget() noexcept { std::memset(pairs_, 0, sizeof pairs_); }

  private:
    static constexpr unsigned kIndexBits = 4;

    struct Entry {
        const char* place;
        Name* name;
    };

    static std::size_t IndexOf(const char* place) noexcept {
        constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15u;  // moves all bits to the top
        return reinterpret_cast<std::uintptr_t>(place) * kSpread >> (64 - kIndexBits);
    }

    Entry pairs_[std::size_t{1} << kIndexBits][2] = {};
};

}  // namespace ZTKPosix::dom
