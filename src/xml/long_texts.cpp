#include "xml/long_texts.h"

#include <atomic>

namespace ZTK::xml {

namespace {

// Constant-initialized and trivially destructible: there before and after every other object.
constinit std::atomic<unsigned> next{0};
constinit std::atomic<BSTR> texts[kLongTexts] = {};

}  // namespace

const wchar_t* KeepLongText(BSTR text) noexcept {
    SysFreeString(texts[next++ % kLongTexts].exchange(text));
    return text;
}

void FreeLongTexts() noexcept {
    for (auto& text : texts) {
        SysFreeString(text.exchange(nullptr));
    }
}

}  // namespace ZTK::xml
