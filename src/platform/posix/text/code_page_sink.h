// Where text that iconv converted goes: a counter, or a caller's buffer. Both offer the same
// operations, so that the measuring pass and the converting pass are one piece of code.
#pragma once

#include <algorithm>
#include <cstddef>

namespace ZTKPosix {

template <class Char>
class MeasuringSink {
  public:
    bool Append(const Char*, std::size_t count) noexcept {
        size_ += count;
        return true;
    }
    std::size_t size() const noexcept { return size_; }

  private:
    std::size_t size_ = 0;
};

template <class Char>
class BufferSink {
  public:
    BufferSink(Char* buffer, std::size_t room) noexcept : buffer_(buffer), room_(room) {}

    // False when the buffer is too small; it then holds what came before.
    bool Append(const Char* text, std::size_t count) noexcept {
        if (count > room_ - size_) {
            return false;
        }
        std::copy_n(text, count, buffer_ + size_);
        size_ += count;
        return true;
    }
    std::size_t size() const noexcept { return size_; }

  private:
    Char* buffer_;
    std::size_t room_;
    std::size_t size_ = 0;
};

}  // namespace ZTKPosix
