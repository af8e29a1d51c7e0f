// CBuffer's access to the hits of the last search. Bodies for buffer.cpp only.
#pragma once

#include <cstdint>

#include "buffer/ptr_array-inl.h"
#include "ztk/buffer.h"

namespace ZTK::buffer {

// A hit is one number: its line's start in the high half, which this divides out, and the line's
// number in the low half.
inline constexpr std::int64_t kHitPosition = std::int64_t{1} << 32;

}  // namespace ZTK::buffer

namespace ZTK {

// False if there is no hit i. A negative i, and a hit without a record, read as a hit of value 0.
template <class T>
bool CBuffer<T>::FindHit(int i, std::int64_t& hit) const noexcept {
    if (hits_ == nullptr || i >= hits_->Count()) {
        return false;
    }
    const auto* const record = i < 0 ? nullptr : hits_->At(i);
    hit = record == nullptr ? 0 : record->value;
    return true;
}

template <class T>
T* CBuffer<T>::GetResult(int i, int& line_number) const noexcept {
    std::int64_t hit = 0;
    if (!FindHit(i, hit)) {
        return nullptr;
    }
    line_number = static_cast<int>(hit & 0xFFFFFFFF);
    return text_ == nullptr ? nullptr : text_ + hit / buffer::kHitPosition;
}

template <class T>
int CBuffer<T>::GetResultCount() const noexcept {
    return hits_ == nullptr ? 0 : hits_->Count();
}

template <class T>
int CBuffer<T>::GetResultLength(int i) const noexcept {
    std::int64_t hit = 0;
    if (!FindHit(i, hit) || text_ == nullptr) {
        return 0;
    }
    const std::int64_t start = hit / buffer::kHitPosition;
    std::int64_t end = start;
    while (end < length_ && text_[end] != 0 && text_[end] != '\n' && text_[end] != '\r') {
        ++end;
    }
    return static_cast<int>(end - start);
}

}  // namespace ZTK
