// Where converted text goes: a counter, or a caller's buffer. Both offer the same operations, so
// that the measuring pass and the converting pass are one piece of code.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/posix/text/unicode.h"
#include "platform/posix/text/vector_text.h"

namespace ZTKPosix {

template <class Char>
class MeasuringSink {
  public:
    template <class Source>
    std::size_t TakeAscii(const Source* text, std::size_t count) noexcept {
        const std::size_t run = AsciiRun(text, count);
        size_ += run;
        return run;
    }
    // Takes none: these characters are measured one by one, by Put.
    template <class Source>
    const Source* TakeSmall(const Source* text, const Source*) noexcept {
        return text;
    }
    bool Put(char32_t character) noexcept {
        size_ += EncodedCharacter<Char>(character).size;
        return true;
    }
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

    template <class Source>
    std::size_t TakeAscii(const Source* text, std::size_t count) noexcept {
        const std::size_t run = CopyAsciiRun(text, std::min(count, room_ - size_), buffer_ + size_);
        size_ += run;
        return run;
    }
    // Takes characters below U+0800, which in most alphabets mix with ASCII in short runs. Stops at
    // any other character, where the room might not suffice, and behind a longer run of ASCII.
    template <class Source>
    const Source* TakeSmall(const Source* text, const Source* end) noexcept {
        Char* target = buffer_ + size_;
        text = CopySmallCharacters(text, end, target, room_ - size_);
        size_ = static_cast<std::size_t>(target - buffer_);
        return text;
    }
    // False when the buffer is too small; it then holds what came before.
    bool Put(char32_t character) noexcept {
        if (room_ - size_ >= kMostUnits<Char>) {
            size_ += PutCharacter(character, buffer_ + size_);
            return true;
        }
        const EncodedCharacter<Char> encoded(character);
        return Append(encoded.units, encoded.size);
    }
    bool Append(const Char* text, std::size_t count) noexcept {
        if (count > room_ - size_) {
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) {
            buffer_[size_ + i] = text[i];
        }
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
