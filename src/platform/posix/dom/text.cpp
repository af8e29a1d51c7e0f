#include "platform/posix/dom/text.h"

#include <cstring>

#include "platform/posix/text/unicode.h"
#include "platform/posix/text/vector_text.h"

namespace ZTKPosix::dom {

wchar_t* WidenLongUtf8(const char* source, std::size_t length, wchar_t* target) noexcept {
    const char* const end = source + length;
    while (source != end) {
        const std::size_t run =
            CopyAsciiRun(source, static_cast<std::size_t>(end - source), target);
        source += run;
        target += run;
        // Characters outside ASCII come in runs with little ASCII between them.
        while (source != end && static_cast<unsigned char>(*source) >= 0x80) {
            const EncodedCharacter<wchar_t> encoded(TakeCharacter(source, end));
            target[0] = encoded.units[0];
            if (encoded.size == 2) {
                target[1] = encoded.units[1];
            }
            target += encoded.size;
        }
    }
    return target;
}

char* NarrowUtf16(const wchar_t*& source, const wchar_t* end, char* target) noexcept {
    while (source != end) {
        const std::size_t run =
            CopyAsciiRun(source, static_cast<std::size_t>(end - source), target);
        source += run;
        target += run;
        while (source != end && *source >= 0x80) {
            const char32_t unit = static_cast<char32_t>(*source);
            if (IsHighSurrogate(unit) && end - source == 1) {
                return target;
            }
            if (IsLowSurrogate(unit) || (IsHighSurrogate(unit) && !IsLowSurrogate(source[1]))) {
                return nullptr;
            }
            const EncodedCharacter<char> encoded(TakeCharacter(source, end));
            std::memcpy(target, encoded.units, encoded.size);
            target += encoded.size;
        }
    }
    return target;
}

}  // namespace ZTKPosix::dom
