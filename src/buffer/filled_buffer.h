// A text buffer filled with a text of known length that is written straight into its storage.
#pragma once

#include <cstddef>
#include <limits>

#include "ztk/buffer.h"

namespace ZTK {

// Replaces the text of buffer by the n characters that write(place) writes, terminated; place may
// be null if n is 0. False, with the buffer empty, when there is no room for them.
template <class T, class Write>
bool FillBuffer(CBuffer<T>& buffer, std::size_t n, Write write) noexcept {
    if (n > std::numeric_limits<int>::max() / sizeof(T)) {
        buffer.Free();
        return false;
    }
    const int length = static_cast<int>(n);
    buffer.SetLength(length);
    T* const text = buffer.GetBuffer();
    if (text == nullptr && length != 0) {
        return false;
    }
    write(text);
    if (text != nullptr) {
        buffer.Add(text, length);  // makes what stands there already the text
        text[n] = 0;
    }
    return true;
}

}  // namespace ZTK
