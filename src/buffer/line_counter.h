// The number and the start of the line at a place in a text, for places that come in order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/processor/text_scan.h"

namespace ZTK::buffer {

template <class T>
class LineCounter {
  public:
    LineCounter(const T* text, T delimiter) noexcept : text_(text), delimiter_(delimiter) {}

    // Goes on to the line of the character at place `to`. A delimiter belongs to the line it ends.
    // REQUIRES: to is not before the last place.
    void AdvanceTo(std::size_t to) noexcept {
        const scan::Occurrences ends = scan::FindAll(text_, counted_, to, delimiter_);
        line_ += static_cast<std::uint32_t>(ends.count);
        start_ = ends.count != 0 ? ends.end : start_;
        counted_ = to;
    }

    [[nodiscard]] std::uint32_t Line() const noexcept { return line_; }  // from 1
    [[nodiscard]] std::size_t Start() const noexcept { return start_; }

  private:
    const T* text_;
    T delimiter_;
    std::size_t counted_ = 0;  // delimiters before this place are counted
    std::uint32_t line_ = 1;
    std::size_t start_ = 0;
};

}  // namespace ZTK::buffer
