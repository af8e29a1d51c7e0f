// What a debuggee writes, in pieces that can be shown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace example {

// A read ends anywhere, also within a character. This holds the beginning of an UTF-8 character
// back until the rest has come; bytes that are no UTF-8 pass through as they are.
//
// Thread-safety: none of its own.
class OutputPieces {
  public:
    // Takes the next bytes and returns what is complete, which may be empty.
    [[nodiscard]] std::string Add(std::string_view bytes);

    // What is still held back: nothing more comes.
    [[nodiscard]] std::string Rest();

  private:
    std::string held_back_;  // up to three bytes
};

}  // namespace example
