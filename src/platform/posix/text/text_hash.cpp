#include "platform/posix/text/text_hash.h"

#include <sys/random.h>
#include <time.h>

#include <atomic>
#include <cstring>

namespace ZTKPosix {

namespace {

// Two random numbers, drawn once for the process. They are made odd and so are never 0, which
// stands for "not drawn yet".
constinit std::atomic<std::uint64_t> keys[2]{};

std::uint64_t Draw(std::atomic<std::uint64_t>& key) noexcept {
    std::uint64_t drawn = 0;
    if (getrandom(&drawn, sizeof drawn, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof drawn)) {
        // Early after the system's start it may have no randomness to give. The time in nanoseconds
        // and the address of a stack are not random, but a sender of documents does not see them.
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        drawn = static_cast<std::uint64_t>(now.tv_nsec) * 0x9E3779B97F4A7C15u ^
                reinterpret_cast<std::uintptr_t>(&now);
    }
    std::uint64_t expected = 0;
    drawn |= 1;
    // Another thread may have drawn in the meantime: then its number is the key for all.
    return key.compare_exchange_strong(expected, drawn, std::memory_order_relaxed) ? drawn
                                                                                   : expected;
}

std::uint64_t Key(int index) noexcept {
    const std::uint64_t key = keys[index].load(std::memory_order_relaxed);
    return key != 0 ? key : Draw(keys[index]);
}

// The exclusive or of the upper and the lower half of the product, which depends on every bit of
// both factors. Without a type of 128 bits two smaller products serve the same end.
std::uint64_t Mix(std::uint64_t a, std::uint64_t b) noexcept {
#if defined(__SIZEOF_INT128__)
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#else
    const std::uint64_t low = (a & 0xFFFFFFFFu) * b;
    const std::uint64_t high = (a >> 32) * b;
    return low ^ (high << 32 | high >> 32) ^ low >> 32;
#endif
}

}  // namespace

std::uint64_t HashText(const wchar_t* text, std::size_t length) noexcept {
    const std::uint64_t first = Key(0);
    const std::uint64_t second = Key(1);
    std::uint64_t hash = first ^ length;
    for (; length >= 4; text += 4, length -= 4) {
        std::uint64_t word;
        std::memcpy(&word, text, sizeof word);
        hash = Mix(hash ^ word, second);
    }
    std::uint64_t rest = 0;
    for (; length > 0; --length) {
        rest = rest << 16 | static_cast<std::uint16_t>(*text++);
    }
    return Mix(hash ^ rest, second);
}

}  // namespace ZTKPosix
