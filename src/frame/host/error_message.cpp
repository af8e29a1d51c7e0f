// The system's texts for last-error codes.
#include "frame/base/tmp_ring.h"
#include "ztk/host.h"

namespace ZTK {

namespace {

constexpr DWORD kRoom = 1024;            // characters of a slot, however short the text
constexpr DWORD kUserLanguage = 0x0400;  // neutral language, default sub-language
constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

DWORD CodeOrLastError(DWORD code) noexcept {
    return code != 0 ? code : GetLastError();
}

}  // namespace

// The formatter's result is ignored in both: where it fails, the slot stays empty.

const char* ZTKGetErrorMessageA(DWORD code) noexcept {
    code = CodeOrLastError(code);
    char* const text = frame::RequestTmpString<char>(kRoom);
    (void)FormatMessageA(kFlags, nullptr, code, kUserLanguage, text, kRoom, nullptr);
    return text;
}

const wchar_t* ZTKGetErrorMessageW(DWORD code) noexcept {
    code = CodeOrLastError(code);
    wchar_t* const text = frame::RequestTmpString<wchar_t>(kRoom);
    (void)FormatMessageW(kFlags, nullptr, code, kUserLanguage, text, kRoom, nullptr);
    return text;
}

}  // namespace ZTK
