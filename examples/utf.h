// Texts of a peer for the library's readers of terminated wide text, and back.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <ztk/text.h>

namespace example {

using ZTK::ToUtf8;

// The UTF-16 of a UTF-8 text, with a terminator. False when it is malformed or has a NUL.
inline bool Widen(std::string_view text, std::vector<wchar_t>* wide) {
    const auto converted = ZTK::ToWideStrict(text);
    if (!converted || converted->find(L'\0') != ZTK::WideText::npos) {
        return false;
    }
    wide->assign(converted->c_str(), converted->c_str() + converted->size() + 1);
    return true;
}

}  // namespace example
