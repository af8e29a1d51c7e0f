// The names met last in a load, as the parser gives them: in UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/posix/dom/text_pool.h"

namespace ZTKPosix::dom {

// Most names of a document are among a few short ones. One that is found here need not be turned
// into 16-bit text to be looked up in the tree's pool. Names that share a place here displace each
// other: then each costs a look-up in the pool, which no choice of names makes slow.
class RecentNames {
  public:
    static constexpr std::size_t kLongest = 16;

    // Null when the name is not known. REQUIRES: length is not above kLongest.
    [[nodiscard]] Name* Find(const char* text, std::size_t length) const noexcept {
        const Key key(text, length);
        const Entry* const pair = pairs_[key.Place()];
        if (pair[0].key == key) {
            return pair[0].name;
        }
        return pair[1].key == key ? pair[1].name : nullptr;
    }

    // Displaces the older of the two names in its place. The name lives at least as long as this
    // object. REQUIRES: length is not above kLongest.
    void Note(const char* text, std::size_t length, Name& name) noexcept {
        const Key key(text, length);
        Entry* const pair = pairs_[key.Place()];
        pair[1] = pair[0];
        pair[0] = {key, &name};
    }

  private:
    static constexpr unsigned kPlaceBits = 4;

    // Two words that overlap hold all bytes of the text: no two texts of one length have the same.
    struct Key {
        Key() = default;
        Key(const char* text, std::size_t size) noexcept : length(size) {
            if (size >= sizeof begin) {
                std::memcpy(&begin, text, sizeof begin);
                std::memcpy(&end, text + size - sizeof end, sizeof end);
            } else if (size >= 4) {
                std::memcpy(&begin, text, 4);
                std::memcpy(&end, text + size - 4, 4);
            } else if (size != 0) {
                std::memcpy(&begin, text, 1);
                std::memcpy(&end, text + size / 2, 1);
                end = end << 8 | static_cast<unsigned char>(text[size - 1]);
            }
        }
        bool operator==(const Key&) const = default;
        [[nodiscard]] std::size_t Place() const noexcept {
            constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15u;  // moves all bits to the top
            return (begin ^ end * 3) * kSpread >> (64 - kPlaceBits);
        }

        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        std::size_t length = 0;
    };
    struct Entry {
        Key key;
        Name* name = nullptr;
    };

    Entry pairs_[std::size_t{1} << kPlaceBits][2];
};

}  // namespace ZTKPosix::dom
