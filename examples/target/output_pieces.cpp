// What a debuggee writes, in pieces that can be shown.
#include "target/output_pieces.h"

#include <algorithm>
#include <utility>

namespace example {

namespace {

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

// How long the character is that begins with this byte; 1 for a byte that begins none.
std::size_t CharacterBytes(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte >= 0xF0 && byte <= 0xF4   ? 4
           : byte >= 0xE0 && byte <= 0xEF ? 3
           : byte >= 0xC2 && byte <= 0xDF ? 2
                                          : 1;
}

// How many bytes at the end are the beginning of a character whose rest is not there.
std::size_t CutOffBytes(std::string_view text) {
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, text.size()); ++back) {
        const char byte = text[text.size() - back];
        if (!IsContinuation(byte)) {
            return CharacterBytes(byte) > back ? back : 0;
        }
    }
    return 0;
}

}  // namespace

std::string OutputPieces::Add(std::string_view bytes) {
    std::string text = Rest();
    text += bytes;
    const std::size_t cut_off = CutOffBytes(text);
    held_back_ = text.substr(text.size() - cut_off);
    text.resize(text.size() - cut_off);
    return text;
}

std::string OutputPieces::Rest() {
    return std::exchange(held_back_, std::string());
}

}  // namespace example
