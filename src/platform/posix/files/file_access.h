// The C runtime's access test on UTF-16 paths.
#pragma once

namespace ZTKPosix {

// 0 if the path names something that exists, a directory included. -1 otherwise, with errno ENOENT
// or what else the system reports, EINVAL for a null path and for every mode but 0, and
// ENAMETOOLONG. A link counts as what it leads to. The last error stays as it was, unless the path
// is too long.
int _waccess(const wchar_t* path, int mode) noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_waccess;
}
