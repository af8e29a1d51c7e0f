// Texts of a peer for readers of terminated wide text.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include <ztk/text.h>

namespace example {

using ZTK::ToUtf8;

// The UTF-16 of a UTF-8 text. Nothing, with *bad set to the first wrong byte, when it is malformed
// or has a NUL, at which a reader of terminated text would take it to end.
inline std::optional<ZTK::WideText> Widen(std::string_view text, std::size_t* bad) {
    *bad = text.find('\0');
    return *bad == std::string_view::npos ? ZTK::ToWideStrict(text, bad) : std::nullopt;
}

// The same into memory that the system's calls may write to, with a terminator. False without.
inline bool Widen(std::string_view text, std::vector<wchar_t>* wide) {
    std::size_t bad = 0;
    const std::optional<ZTK::WideText> converted = Widen(text, &bad);
    wide->clear();
    if (converted) {
        wide->assign(converted->c_str(), converted->c_str() + converted->size() + 1);
    }
    return converted.has_value();
}

}  // namespace example
