// Characters from a C stream, many at a time. For the caller of the library the stream is
// afterwards as if they had been read one by one.
#pragma once

#include <cstddef>
#include <cstdio>

namespace ZTK::buffer {

// Where ReadLinePart stopped.
enum class LineEnd { kNone, kLine, kStream };

struct LinePart {
    std::size_t count;  // characters stored
    LineEnd end;
};

// The most characters that one read hands out for one from the stream: a surrogate pair.
inline constexpr std::size_t kMostUnits = 2;

// Reads to the end of a stream. That blocks read ahead cannot be observed, because the last one
// ends where the stream does; its flags, position and orientation are then those of single reads.
template <class T>
class StreamReader {
  public:
    explicit StreamReader(std::FILE* stream) noexcept : stream_(stream) {}

    // Stores up to room characters as they come; 0 at the end of the stream or after an error.
    // REQUIRES: room >= kMostUnits.
    std::size_t Read(T* block, std::size_t room);

  private:
    std::FILE* stream_;
    bool started_ = false;
};

// Stores characters up to the end of a line, and not one more is taken from the stream. Carriage
// returns are dropped; the line feed or NUL that ends the line is stored as NUL. REQUIRES: room >=
// kMostUnits.
template <class T>
LinePart ReadLinePart(std::FILE* stream, T* block, std::size_t room);

}  // namespace ZTK::buffer
