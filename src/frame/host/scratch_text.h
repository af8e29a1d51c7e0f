// A wide text of the calling function's own, on the stack unless it is long.
#pragma once

#include <cstddef>

#include "platform/memory/allocation.h"

namespace ZTK::frame {

// The logging functions build their text here and not in the ring slot that they take: another
// thread may get the slot again while the text is still on its way to the file.
class ScratchText {
  public:
    static constexpr std::size_t kShort = 1024;  // characters that need no allocation

    ScratchText() = default;
    ScratchText(const ScratchText&) = delete;
    ScratchText& operator=(const ScratchText&) = delete;
    ~ScratchText() { allocation::RuntimeFree(long_); }

    // Room for kShort characters, or what Reserve made.
    wchar_t* get() noexcept { return long_ != nullptr ? long_ : short_; }

    // Makes room for characters, dropping the text. False when memory is short. Called once.
    // REQUIRES: the caller has bounded the number, so that its bytes can be counted.
    bool Reserve(std::size_t characters) noexcept {
        if (characters > kShort) {
            long_ = static_cast<wchar_t*>(allocation::RuntimeAlloc(characters * sizeof(wchar_t)));
        }
        return characters <= kShort || long_ != nullptr;
    }

  private:
    wchar_t short_[kShort];
    wchar_t* long_ = nullptr;
};

}  // namespace ZTK::frame
