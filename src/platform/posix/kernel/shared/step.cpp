#include "platform/posix/kernel/shared/step.h"

namespace ZTKPosix::shared {

void Step() noexcept {}

}  // namespace ZTKPosix::shared
