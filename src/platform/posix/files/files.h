// Files behind handles.
#pragma once

#include "platform/posix/kernel/kernel_object.h"

namespace ZTKPosix {

// Closes the descriptor of a file that has no handle and no reader any more.
void CloseFile(File& file) noexcept;

}  // namespace ZTKPosix
