// Texts that the system and its users exchange.
#include "target/windows_text.h"

#include <cwchar>
#include <vector>

#include "common/utf.h"

namespace example {

std::string SystemText(DWORD error) {
    wchar_t text[300];
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                       0, text, static_cast<DWORD>(std::size(text)), nullptr);
    if (length == 0) {
        return "error " + std::to_string(error);
    }
    std::string narrow = ToUtf8(text);
    narrow.erase(narrow.find_last_not_of(" .\r\n") + 1);
    return narrow;
}

std::string PathOfFile(HANDLE file) {
    std::vector<wchar_t> path(MAX_PATH);
    DWORD length = GetFinalPathNameByHandleW(file, path.data(), MAX_PATH, FILE_NAME_NORMALIZED);
    if (length >= path.size()) {  // what it needs, with the terminator
        path.resize(length);
        length = GetFinalPathNameByHandleW(file, path.data(), length, FILE_NAME_NORMALIZED);
    }
    if (length == 0 || length >= path.size()) {
        return "";
    }
    // The system gives the form that it does not interpret: "\\?\C:\folder\file".
    const std::string text = ToUtf8(path.data());
    constexpr char kPrefix[] = "\\\\?\\";
    return text.rfind(kPrefix, 0) == 0 ? text.substr(sizeof kPrefix - 1) : text;
}

}  // namespace example
