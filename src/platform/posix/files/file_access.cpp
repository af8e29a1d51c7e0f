#include "platform/posix/files/file_access.h"

#include <unistd.h>

#include <cerrno>
#include <climits>

#include "platform/posix/text/code_page.h"

namespace ZTKPosix {

int _waccess(const wchar_t* path, int mode) noexcept {
    char name[PATH_MAX];
    if (path == nullptr || mode != 0) {
        errno = EINVAL;
        return -1;
    }
    if (WideCharToMultiByte(CP_UTF8, 0, path, -1, name, sizeof name, nullptr, nullptr) == 0) {
        errno = ENAMETOOLONG;
        return -1;
    }
    return ::access(name, F_OK);
}

}  // namespace ZTKPosix
