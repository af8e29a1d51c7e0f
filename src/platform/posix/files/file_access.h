// The C runtime's access test on UTF-16 paths.
#pragma once

namespace ZTKPosix {

// 0 if the path names something that exists, a directory included; -1 with errno set otherwise, and
// for a mode other than 0 (EINVAL). A link counts as what it leads to.
int _waccess(const wchar_t* path, int mode) noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_waccess;
}
