// The code pages other than UTF-8, converted by the system's iconv.
#pragma once

#include <cstddef>

#include "platform/posix/kernel/lock/lock.h"
#include "ztk/platform.h"

namespace ZTKPosix {

// Held while iconv opens or closes a conversion: it takes locks of the C library then, which a
// child forked in between would find taken for ever.
inline constinit Lock iconv_lock;

// One conversion between a code page and UTF-16. Opened for each call: these pages are on no hot
// path, and nothing is left behind when the library is unloaded.
class IconvConversion {
  public:
    enum class Direction { kToWide, kToNarrow };

    IconvConversion(UINT code_page, Direction direction) noexcept;
    IconvConversion(const IconvConversion&) = delete;
    IconvConversion& operator=(const IconvConversion&) = delete;
    ~IconvConversion();

    // False for a code page that the system does not know.
    bool IsOpen() const noexcept;

    void SetSource(const void* source, std::size_t bytes) noexcept;

    // Converts the next piece of the source into buffer and returns its bytes; 0 at the end. What
    // has no counterpart becomes U+FFFD in wide text and the page's question mark in narrow, one
    // for each byte or unit. The last piece returns to the page's initial shift state. REQUIRES:
    // room for at least kLeastRoom bytes.
    static constexpr std::size_t kLeastRoom = 64;
    std::size_t Next(char* buffer, std::size_t room) noexcept;

  private:
    void PutSubstitute(char*& out, std::size_t& out_left) noexcept;

    void* conversion_;
    Direction direction_;
    char* source_ = nullptr;
    std::size_t left_ = 0;
    bool flushed_ = false;
};

}  // namespace ZTKPosix
