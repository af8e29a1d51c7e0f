// Texts of a peer for the library's readers of terminated wide text.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include <ztk/text.h>

namespace example {

// The UTF-16 of a UTF-8 text. Nothing, with *bad set to the first wrong byte, when it is malformed
// or has a NUL, at which a reader of terminated text would take it to end.
inline std::optional<ZTK::WideText> Widen(std::string_view text, std::size_t* bad) {
    *bad = text.find('\0');
    return *bad == std::string_view::npos ? ZTK::ToWideStrict(text, bad) : std::nullopt;
}

}  // namespace example
