// Where formatted text goes: a bounded buffer that counts on when it is full.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ZTKPosix::format {

// Copies a piece of text. Most are a few bytes, for which a call of memcpy takes longer than this:
// two words that cover the piece together and may overlap. Not inline: its callers are many.
[[gnu::noinline]] inline void CopyPiece(void* to, const void* from, std::size_t bytes) noexcept {
    const auto copy_two = [=](auto word) {
        constexpr std::size_t kWord = sizeof word;
        auto last = word;
        std::memcpy(&word, from, kWord);
        std::memcpy(&last, static_cast<const char*>(from) + bytes - kWord, kWord);
        std::memcpy(to, &word, kWord);
        std::memcpy(static_cast<char*>(to) + bytes - kWord, &last, kWord);
    };
    if (bytes > 16) {
        std::memcpy(to, from, bytes);
    } else if (bytes >= 8) {
        copy_two(std::uint64_t{});
    } else if (bytes >= 4) {
        copy_two(std::uint32_t{});
    } else if (bytes >= 2) {
        copy_two(std::uint16_t{});
    } else if (bytes == 1) {
        std::memcpy(to, from, 1);
    }
}

// What is stored might alias the members, so loops work on copies of them.
template <class Char>
class Sink {
  public:
    Sink(Char* buffer, std::size_t room) noexcept : buffer_(buffer), room_(room) {}

    void Append(const Char* text, std::size_t count) noexcept {
        const std::size_t fits = Take(count);
        if (fits != 0) {
            CopyPiece(buffer_, text, fits * sizeof(Char));
            buffer_ += fits;
        }
    }

    void AppendAscii(const char* text, std::size_t count) noexcept {
        if constexpr (sizeof(Char) == 1) {
            Append(text, count);
        } else {
            Char* const out = buffer_;
            const std::size_t fits = Take(count);
            for (std::size_t i = 0; i < fits; ++i) {
                out[i] = static_cast<Char>(text[i]);
            }
            buffer_ = out + fits;
        }
    }

    void Fill(Char c, std::uint64_t count) noexcept {
        if (count != 0) {
            Char* const out = buffer_;
            const std::size_t fits = Take(count);
            std::fill_n(out, fits, c);
            buffer_ = out + fits;
        }
    }

    // The length of all text so far, with what did not fit. Cannot wrap: a single piece is shorter
    // than memory, and the engine stops at the first that leads beyond INT_MAX.
    std::uint64_t length() const noexcept { return length_; }

  private:
    std::size_t Take(std::uint64_t count) noexcept {
        length_ += count;
        const auto fits = static_cast<std::size_t>(std::min<std::uint64_t>(count, room_));
        room_ -= fits;
        return fits;
    }

    Char* buffer_;
    std::size_t room_;
    std::uint64_t length_ = 0;
};

}  // namespace ZTKPosix::format
