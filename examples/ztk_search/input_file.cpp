// Files to read, with an explanation when one cannot be read.
#include "ztk_search/input_file.h"

#include <sys/stat.h>

namespace example {

namespace {

constexpr DWORD kTooLarge = 0x80000000;

}  // namespace

InputFile::InputFile(const std::string& path)
    : path_(path),
      handle_(CreateFileW(ZTK::StrConvert(path.c_str(), 0), GENERIC_READ,
                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                          FILE_ATTRIBUTE_NORMAL, nullptr)),
      error_(handle_ ? 0 : GetLastError()) {}

std::string InputFile::Problem(DWORD* size) const {
    if (!handle_) {
        return OpenProblem();
    }
    DWORD high = 0;
    SetLastError(0);
    *size = GetFileSize(handle_.get(), &high);
    if (*size == INVALID_FILE_SIZE && GetLastError() != 0) {
        return "is no file";
    }
    return high != 0 || *size >= kTooLarge ? "has 2 GiB or more, which is too large" : "";
}

bool InputFile::TakeMark() const {
    unsigned char mark[2] = {};
    DWORD read = 0;
    return ReadFile(handle_.get(), mark, sizeof mark, &read, nullptr) != 0 && read == sizeof mark &&
           mark[0] == 0xFF && mark[1] == 0xFE;
}

std::string InputFile::OpenProblem() const {
    struct stat info {};
    if (stat(path_.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        return S_ISDIR(info.st_mode) ? "is a directory" : "is no regular file";
    }
    switch (error_) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return "no such file";
        case ERROR_ACCESS_DENIED:
            return "may not be read";
        default:
            return "cannot be opened (error " + std::to_string(error_) + ")";
    }
}

}  // namespace example
