// The environment of the process, which the system keeps in bytes.
#include <unistd.h>

#include "platform/posix/text/code_page.h"
#include "platform/posix/text/runtime_text.h"
#include "platform/posix/text/unicode.h"

namespace ZTKPosix {

namespace {

// The value of an entry "name=value" if it is the entry of name, or null.
const char* ValueOf(const char* entry, const wchar_t* name) noexcept {
    while (*name != 0) {
        if (TakeCharacter(entry, nullptr) != TakeCharacter(name, nullptr)) {
            return nullptr;  // at the latest at the end of entry
        }
    }
    return *entry == '=' ? entry + 1 : nullptr;
}

const char* FindValue(const wchar_t* name) noexcept {
    if (name == nullptr || *name == 0 || wcschr(name, L'=') != nullptr || environ == nullptr) {
        return nullptr;
    }
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (const char* const value = ValueOf(*entry, name); value != nullptr) {
            return value;
        }
    }
    return nullptr;
}

}  // namespace

DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD room) noexcept {
    const char* const value = FindValue(name);
    const int needed =
        value == nullptr ? 0 : MultiByteToWideChar(CP_UTF8, 0, value, -1, nullptr, 0);
    if (needed == 0) {  // also a value of more than INT_MAX characters, which no caller can take
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    if (buffer == nullptr || static_cast<DWORD>(needed) > room) {
        return static_cast<DWORD>(needed);
    }
    return static_cast<DWORD>(MultiByteToWideChar(CP_UTF8, 0, value, -1, buffer, needed)) - 1;
}

}  // namespace ZTKPosix
