// Whether a file exists.
#include "platform/file_access.h"
#include "ztk/host.h"

namespace ZTK {

bool FileExists(const wchar_t* path) noexcept {
    constexpr int kExists = 0;
    return path != nullptr && *path != 0 && _waccess(path, kExists) == 0;
}

}  // namespace ZTK
