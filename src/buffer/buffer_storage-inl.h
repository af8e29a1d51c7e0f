// CBuffer's storage: growth, and what a refused growth leaves behind. Bodies for buffer.cpp only.
#pragma once

#include <cstring>
#include <limits>

#include "platform/file_stream.h"
#include "platform/large_block.h"
#include "platform/memory/allocation.h"
#include "ztk/buffer.h"

namespace ZTK {
namespace buffer {

// The bytes that the characters of the stream's file take, negative if that cannot be told.
template <class T>
int BytesForFile(std::FILE* fp) noexcept {
    constexpr int kUnknown = -1;
    constexpr int kPerByte = static_cast<int>(sizeof(T));
    const int file_bytes = static_cast<int>(_filelength(_fileno(fp)));
    const bool known = file_bytes >= 0 && file_bytes <= std::numeric_limits<int>::max() / kPerByte;
    return (known ? file_bytes : kUnknown) * kPerByte;
}

}  // namespace buffer

// What a refused growth leaves behind.
template <class T>
void CBuffer<T>::Clear() noexcept {
    Reset();
    allocation::RuntimeFree(text_);
    text_ = nullptr;
    capacity_ = 0;
}

// Whether there is room for bytes bytes; if memory for it is short, the buffer is empty afterwards.
template <class T>
bool CBuffer<T>::EnsureRoom(std::int64_t bytes) noexcept {
    const int old_capacity = text_ == nullptr ? 0 : capacity_;
    if (bytes <= old_capacity) {
        return text_ != nullptr;
    }
    if (bytes > std::numeric_limits<int>::max()) {
        Clear();
        return false;
    }
    const std::size_t total = static_cast<std::size_t>(bytes) + sizeof(T);
    void* const grown = text_ == nullptr ? allocation::RuntimeAllocZeroed(total)
                                         : allocation::RuntimeRealloc(text_, total);
    if (grown == nullptr) {
        Clear();
        return false;
    }
    ExpectLargeBlockFilled(grown, total);
    if (text_ != nullptr) {
        // The room of the old terminator is cleared too: a host may have written there.
        const auto kept = static_cast<std::size_t>(old_capacity);
        std::memset(static_cast<char*>(grown) + kept, 0, total - kept);
    }
    text_ = static_cast<T*>(grown);
    capacity_ = static_cast<int>(bytes);
    return true;
}

template <class T>
T* CBuffer<T>::Realloc(int bytes) noexcept {
    (void)EnsureRoom(bytes);  // a failure shows in the text
    return text_;
}

template <class T>
void CBuffer<T>::SetLength(int n) noexcept {
    Reset();
    // A failure shows in the text, here and below.
    (void)EnsureRoom(std::int64_t{n} * static_cast<std::int64_t>(sizeof(T)));
}

template <class T>
void CBuffer<T>::SetSize(int n) noexcept {
    Reset();
    (void)EnsureRoom(n);
}

// Makes room for the file's characters. bytes: what that takes, negative if it cannot be told.
// False if memory is short.
template <class T>
bool CBuffer<T>::SizeForFile(std::FILE* fp, int& bytes) noexcept {
    bytes = buffer::BytesForFile<T>(fp);
    return bytes <= 0 || EnsureRoom(bytes);
}

template <class T>
int CBuffer<T>::ReAllocForFile(std::FILE* fp) {
    int bytes = 0;
    (void)SizeForFile(fp, bytes);  // whether there is room shows in the text
    return bytes;
}

template <class T>
CBuffer<T>::operator T*() const noexcept {
    return text_;
}

template <class T>
T* CBuffer<T>::GetBuffer() const noexcept {
    return text_;
}

template <class T>
void* CBuffer<T>::Malloc(std::uint64_t size) noexcept {
    return size > std::numeric_limits<std::size_t>::max()
               ? nullptr
               : allocation::RuntimeAlloc(static_cast<std::size_t>(size));
}

}  // namespace ZTK
