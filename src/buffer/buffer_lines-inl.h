// CBuffer's lines: cutting the text, and reading it from a stream. Bodies for buffer.cpp only.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <span>

#include "buffer/block_text.h"
#include "buffer/buffer_storage-inl.h"
#include "buffer/ptr_array-inl.h"
#include "buffer/stream_reader.h"
#include "platform/large_block.h"
#include "platform/memory/allocation.h"
#include "platform/processor/line_copy.h"
#include "strings/runtime_overloads.h"
#include "ztk/buffer.h"

namespace ZTK {

// A list that lacks a line is worth nothing: whoever finds no memory for a line's slot empties the
// buffer, as where memory for text is short.

// Cuts off the line [start, end) and returns where the next one starts, or null.
template <class T>
T* CBuffer<T>::AddLine(T* start, T* end) noexcept {
    *end = 0;
    if (!lines_.Append(start, false)) {
        Clear();
        return nullptr;
    }
    return end + 1;
}

// Cuts the text at each cut character and returns the start of what remains behind the last, or
// null.
template <class T>
T* CBuffer<T>::CutAt(T cut) noexcept {
    T* const end = text_ + length_;
    T* start = text_;
    while (const T* const found =
               strings::FindElement(start, cut, static_cast<std::size_t>(end - start))) {
        start = AddLine(start, text_ + (found - text_));
        if (start == nullptr) {
            break;
        }
    }
    return start;
}

template <class T>
bool CBuffer<T>::CutAll(T cut) noexcept {
    lines_.Rewind();
    T* const rest = CutAt(cut);
    T* const end = text_ + length_;
    if (rest == nullptr) {
        return false;
    }
    if (rest != end) {
        // The last line: there is no next one. The text always has room for a terminator behind it.
        (void)AddLine(rest, end);  // the count tells
    }
    return lines_.Count() > 0;
}

template <class T>
bool CBuffer<T>::ToLines() noexcept {
    return length_ != 0 && text_ != nullptr && text_[0] != 0 && CutAll('\n');
}

template <class T>
bool CBuffer<T>::Split(T delimiter) noexcept {
    return text_ != nullptr && CutAll(delimiter);
}

namespace buffer {

// Where Load has the stream's next characters put: into the text's storage, as long as that is
// fresh and has room, later into a block beside it. Storage that held a text before gets only what
// is kept, because the old characters behind the new end stay.
template <class T>
class LoadTarget {
  public:
    // fresh: storage that nobody has filled yet, or null.
    LoadTarget(T* fresh, std::size_t bytes) noexcept : fresh_(fresh), bytes_(bytes) {}

    // Room for the characters behind the first `length`.
    std::span<T> Next(std::size_t length) noexcept {
        const std::size_t left = fresh_ == nullptr ? 0 : bytes_ / sizeof(T) - length;
        if (left >= kMostUnits) {
            return {fresh_ + length, std::min(left, std::size(block_))};
        }
        Finish(length);
        return block_;
    }

    // Clears what is not filled.
    void Finish(std::size_t length) noexcept {
        if (fresh_ != nullptr) {
            const std::size_t filled = length * sizeof(T);
            std::memset(fresh_ + length, 0, bytes_ + sizeof(T) - filled);
            fresh_ = nullptr;
        }
    }

  private:
    T* fresh_;
    std::size_t bytes_;  // of the storage besides the terminator's
    T block_[kBlockBytes / sizeof(T)];
};

// Fresh storage that is not filled, or null.
template <class T>
T* UnfilledStorage(int bytes) noexcept {
    const std::size_t total = static_cast<std::size_t>(bytes) + sizeof(T);
    void* const storage = allocation::RuntimeAlloc(total);
    if (storage != nullptr) {
        ExpectLargeBlockFilled(storage, total);
    }
    return static_cast<T*>(storage);
}

}  // namespace buffer

template <class T>
int CBuffer<T>::Load(std::FILE* fp) {
    Reset();
    if (fp == nullptr) {
        return 0;
    }
    const int bytes = buffer::BytesForFile<T>(fp);
    const bool is_fresh = text_ == nullptr && bytes > 0;
    if (is_fresh) {
        text_ = buffer::UnfilledStorage<T>(bytes);
        capacity_ = bytes;  // counts for nothing while there is no text
    }
    if (is_fresh ? text_ == nullptr : bytes > 0 && !EnsureRoom(bytes)) {
        return 0;
    }
    const int room = text_ == nullptr ? 0 : capacity_;
    std::ptrdiff_t start = 0;
    bool lost = false;
    buffer::LoadTarget<T> target(is_fresh ? text_ : nullptr, static_cast<std::size_t>(room));
    buffer::StreamReader<T> reader(fp);
    for (;;) {
        const std::span<T> block = target.Next(static_cast<std::size_t>(length_));
        const std::size_t count = reader.Read(block.data(), block.size());
        if (count == 0) {
            break;
        }
        const auto kept = static_cast<std::int64_t>(buffer::DropReturns(block.data(), count));
        if (kept == 0) {
            continue;
        }
        if (!EnsureRoom((length_ + kept) * static_cast<std::int64_t>(sizeof(T)))) {
            return 0;
        }
        if (length_ == 0) {
            lines_.Reserve(buffer::ExpectedLines(block.data(), kept, room / int{sizeof(T)}));
        }
        CopyLines(block.data(), static_cast<std::size_t>(kept), text_ + length_,
                  [&](std::size_t end) {
                      lost = !lines_.Append(text_ + start, false) || lost;
                      start = length_ + static_cast<std::ptrdiff_t>(end) + 1;
                  });
        length_ += static_cast<int>(kept);
        if (lost) {
            Clear();
            return 0;
        }
    }
    target.Finish(static_cast<std::size_t>(length_));
    if (length_ == 0) {
        return 0;
    }
    if (capacity_ != room) {
        // The stream was longer than the size of its file, and the text has moved: the lines point
        // to where it was.
        lines_.Rewind();
        const T* const rest = CutAt(0);
        if (rest == nullptr) {
            return 0;
        }
        start = rest - text_;
    }
    // The last line is not terminated: the character behind it may be left over from an earlier
    // text.
    if (start != length_ && !lines_.Append(text_ + start, false)) {
        Clear();
    }
    return lines_.Count();
}

template <class T>
T* CBuffer<T>::GetNext(std::FILE*& fp, int index) {
    if (fp == nullptr) {
        const bool stored = index >= 0 && index < lines_.Count() && lines_.At(index) != nullptr;
        return stored ? lines_.At(index)->value : nullptr;
    }
    const int line = length_;
    bool lost = false;
    for (;;) {
        T block[256];
        const buffer::LinePart part = buffer::ReadLinePart(fp, block, std::size(block));
        lost = lost || !Append(block, static_cast<std::int64_t>(part.count));
        if (part.end == buffer::LineEnd::kStream) {
            (void)std::fclose(fp);  // nothing was written to it here
            fp = nullptr;
            return nullptr;
        }
        if (part.end == buffer::LineEnd::kLine) {
            if (lost) {
                return nullptr;
            }
            if (!lines_.Append(text_ + line, false)) {
                Clear();
                return nullptr;
            }
            return text_ + line;
        }
    }
}

}  // namespace ZTK
