#include "frame/base/fatal.h"

#include <cstdio>
#include <cstdlib>

namespace ZTK::frame {

void Fatal(const char* message) noexcept {
    // The process ends whether or not anybody can read it.
    (void)std::fprintf(stderr, "ZtkAgentLib: %s The process ends.\n", message);
    std::abort();
}

}  // namespace ZTK::frame
