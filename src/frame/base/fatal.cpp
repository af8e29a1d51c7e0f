#include "frame/base/fatal.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/standard_error.h"

namespace ZTK::frame {

void Fatal(const char* message) noexcept {
    char line[256];
    // On the stack: memory may be what has run out.
    std::snprintf(line, sizeof line, "ZtkAgentLib: %s The process ends.\n", message);
    WriteStandardError(line, std::strlen(line));
    std::abort();
}

}  // namespace ZTK::frame
