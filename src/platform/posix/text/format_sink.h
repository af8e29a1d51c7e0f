// Where formatted text goes: a bounded buffer that counts on when it is full.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ZTKPosix::format {

template <class Char>
class Sink {
  public:
    Sink(Char* buffer, std::size_t room) noexcept : buffer_(buffer), room_(room) {}

    void Append(const Char* text, std::size_t count) noexcept {
        const std::size_t fits = Take(count);
        if (fits != 0) {
            std::memcpy(buffer_, text, fits * sizeof(Char));
            buffer_ += fits;
        }
    }

    void AppendAscii(const char* text, std::size_t count) noexcept {
        for (std::size_t fits = Take(count); fits != 0; --fits) {
            *buffer_++ = static_cast<Char>(*text++);
        }
    }

    void Fill(Char c, std::uint64_t count) noexcept {
        for (std::size_t fits = Take(count); fits != 0; --fits) {
            *buffer_++ = c;
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
