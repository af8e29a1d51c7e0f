// Texts that were handed out without an owner and are too long for a ring string.
#pragma once

#include "ztk/platform/com.h"

namespace ZTK::xml {

inline constexpr unsigned kLongTexts = 8;

// Takes text over and returns it. It stays until kLongTexts further texts were kept. Safe from any
// thread.
const wchar_t* KeepLongText(BSTR text) noexcept;

// Frees the texts that are kept. For the unloading of the library, when no other thread uses it any
// more.
void FreeLongTexts() noexcept;

}  // namespace ZTK::xml
