// Room in which the parser's text is turned into 16-bit text before it goes elsewhere.
#pragma once

#include <cstddef>
#include <iterator>

#include "platform/memory/allocation.h"

namespace ZTKPosix::dom {

class WideBuffer {
  public:
    WideBuffer() = default;
    WideBuffer(const WideBuffer&) = delete;
    WideBuffer& operator=(const WideBuffer&) = delete;
    ~WideBuffer() { ZTK::allocation::RuntimeFree(long_); }

    // Room for length characters, until the next call. Null when memory is short.
    [[nodiscard]] wchar_t* Room(std::size_t length) noexcept {
        return length <= std::size(short_) ? short_ : LongRoom(length);
    }

  private:
    [[nodiscard]] wchar_t* LongRoom(std::size_t length) noexcept {
        if (length > long_capacity_) {
            void* const grown =
                ZTK::allocation::RuntimeRealloc(long_, length * 2 * sizeof(wchar_t));
            if (grown == nullptr) {
                return nullptr;
            }
            long_ = static_cast<wchar_t*>(grown);
            long_capacity_ = length * 2;
        }
        return long_;
    }

    wchar_t short_[256];
    wchar_t* long_ = nullptr;  // owned
    std::size_t long_capacity_ = 0;
};

}  // namespace ZTKPosix::dom
