// Texts that were handed out to nobody in particular and are too long for a ring string.
#include "xml/long_texts.h"

#include <atomic>

namespace ZTK::xml {

namespace {

// Constant-initialized; destroyed with the library, when no other thread uses it any more.
class LongTexts {
  public:
    constexpr LongTexts() = default;
    LongTexts(const LongTexts&) = delete;
    LongTexts& operator=(const LongTexts&) = delete;
    ~LongTexts() {
        for (auto& text : texts_) {
            SysFreeString(text.load());
        }
    }

    void Keep(BSTR text) noexcept { SysFreeString(texts_[next_++ % kLongTexts].exchange(text)); }

  private:
    std::atomic<unsigned> next_{0};
    std::atomic<BSTR> texts_[kLongTexts] = {};
};

constinit LongTexts long_texts;

}  // namespace

const wchar_t* KeepLongText(BSTR text) noexcept {
    long_texts.Keep(text);
    return text;
}

}  // namespace ZTK::xml
