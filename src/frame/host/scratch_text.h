// A wide text of the calling function's own, on the stack unless it is long.
#pragma once

#include "platform/memory/allocation.h"

namespace ZTK::frame {

// The logging functions build their text here and not in the ring slot that they take: another
// thread may get the slot again while the text is still on its way to the file.
class ScratchText {
  public:
    static constexpr int kShort = 1024;  // characters that need no allocation

    ScratchText() = default;
    ScratchText(const ScratchText&) = delete;
    ScratchText& operator=(const ScratchText&) = delete;
    ~ScratchText() { allocation::RuntimeFree(long_); }

    // Room for kShort characters, or what Reserve made.
    wchar_t* get() noexcept { return long_ != nullptr ? long_ : short_; }

    // Makes room for characters, dropping the text. False when memory is short. Called once.
    bool Reserve(int characters) noexcept {
        if (characters > kShort) {
            long_ = static_cast<wchar_t*>(
                allocation::RuntimeAlloc(static_cast<std::size_t>(characters) * sizeof(wchar_t)));
        }
        return characters <= kShort || long_ != nullptr;
    }

  private:
    wchar_t short_[kShort];
    wchar_t* long_ = nullptr;
};

}  // namespace ZTK::frame
