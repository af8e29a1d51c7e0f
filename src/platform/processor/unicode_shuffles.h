// Which bytes of a block go where when several characters of UTF-8 are taken apart or put together
// at once, as tables for an instruction that moves bytes by a table.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace ZTK::unicode::shuffles {

inline constexpr std::uint8_t kZero = 0x80;  // makes a byte 0

struct alignas(16) Shuffle {
    std::uint8_t from[16];
};

// --- From UTF-8. A step takes some whole characters from the front of a block, each into a lane:
// up to eight characters of one or two bytes into lanes of 16 bits, or up to four of one to three
// bytes into lanes of 32. In a lane the last byte of a character is the lowest.

inline constexpr int kWindow = 12;  // a step looks at so many bytes
inline constexpr int kMostTwos = 8;
inline constexpr int kMostThrees = 4;
inline constexpr unsigned kTwos = 2u << kMostTwos;          // ways to take characters of two bytes
inline constexpr unsigned kThrees = 1u << 2 * kMostThrees;  // of three

struct Step {
    std::uint16_t shuffle;  // in kApart; below kTwos for lanes of 16 bits
    std::uint8_t taken;     // bytes; 0 if the first character is longer than three
    std::uint8_t made;      // lanes
};

// ends has a bit for the last byte of each character. Shuffles are numbered by the lengths: a bit
// for each above a leading one, or two bits for each.
constexpr Step TakeStep(unsigned ends, int longest, int most) {
    unsigned number = longest == 2 ? 1u : 0u;
    int taken = 0;
    int made = 0;
    while (made < most && ends >> taken != 0) {
        const int length = std::countr_zero(ends >> taken) + 1;
        if (length > longest) {
            break;
        }
        if (longest == 2) {
            number = (number & ((1u << made) - 1)) | static_cast<unsigned>(length - 1) << made |
                     2u << made;
        } else {
            number |= static_cast<unsigned>(length) << 2 * made;
        }
        taken += length;
        ++made;
    }
    return {static_cast<std::uint16_t>(longest == 2 ? number : kTwos + number),
            static_cast<std::uint8_t>(taken), static_cast<std::uint8_t>(made)};
}

struct Steps {
    Step of[1u << kWindow];  // by the ends in the window
};
inline constexpr Steps kSteps = [] {
    Steps steps{};
    for (unsigned ends = 0; ends < 1u << kWindow; ++ends) {
        const Step twos = TakeStep(ends, 2, kMostTwos);
        const Step threes = TakeStep(ends, 3, kMostThrees);
        steps.of[ends] = threes.taken > twos.taken ? threes : twos;
    }
    return steps;
}();

// The shuffle for characters of the given lengths, 0 for none.
template <class LengthOf>
constexpr Shuffle ApartShuffle(int lanes, LengthOf length_of) {
    Shuffle shuffle{};
    const int lane_bytes = 16 / lanes;
    int at = 0;
    for (int lane = 0; lane < lanes; ++lane) {
        const int length = length_of(lane);
        for (int i = 0; i < lane_bytes; ++i) {
            shuffle.from[lane * lane_bytes + i] =
                i < length ? static_cast<std::uint8_t>((at + length - 1 - i) & 15) : kZero;
        }
        at += length;
    }
    return shuffle;
}

struct ApartShuffles {
    Shuffle of[kTwos + kThrees];
};
inline constexpr ApartShuffles kApart = [] {
    ApartShuffles shuffles{};
    for (unsigned number = 1; number < kTwos; ++number) {
        const int made = std::bit_width(number) - 1;
        shuffles.of[number] = ApartShuffle(kMostTwos, [=](int lane) {
            return lane < made ? 1 + static_cast<int>(number >> lane & 1) : 0;
        });
    }
    for (unsigned number = 0; number < kThrees; ++number) {
        shuffles.of[kTwos + number] = ApartShuffle(
            kMostThrees, [=](int lane) { return static_cast<int>(number >> 2 * lane & 3); });
    }
    return shuffles;
}();

// --- To UTF-8. The bytes of characters that stand in lanes move together.

struct JoinShuffles {
    Shuffle of[256];
};

// Lanes of 16 bits: a character of one byte is the lower. Bit i of the number: lane i has one byte.
inline constexpr JoinShuffles kJoinTwos = [] {
    JoinShuffles shuffles{};
    for (unsigned number = 0; number < 256; ++number) {
        int size = 0;
        for (int byte = 0; byte < 16; ++byte) {
            if (byte % 2 == 0 || (number >> byte / 2 & 1) == 0) {
                shuffles.of[number].from[size++] = static_cast<std::uint8_t>(byte);
            }
        }
        for (; size < 16; ++size) {
            shuffles.of[number].from[size] = kZero;
        }
    }
    return shuffles;
}();

// Lanes of 32 bits, of which the lower three bytes hold a character, at their end if it is shorter.
// Bits of the number: i if lane i has more than one byte, 4 + i if it has three.
inline constexpr JoinShuffles kJoinThrees = [] {
    JoinShuffles shuffles{};
    for (unsigned number = 0; number < 256; ++number) {
        int size = 0;
        for (int lane = 0; lane < 4; ++lane) {
            const int length = 1 + static_cast<int>(number >> lane & 1) +
                               static_cast<int>(number >> (4 + lane) & 1);
            for (int byte = 3 - length; byte < 3; ++byte) {
                shuffles.of[number].from[size++] = static_cast<std::uint8_t>(4 * lane + byte);
            }
        }
        for (; size < 16; ++size) {
            shuffles.of[number].from[size] = kZero;
        }
    }
    return shuffles;
}();

}  // namespace ZTK::unicode::shuffles
