// Ends the process with a message on standard error: for a failure that the caller was promised
// never to see, such as a ring string without memory.
#pragma once

namespace ZTK::frame {

[[noreturn]] void Fatal(const char* message) noexcept;

}  // namespace ZTK::frame
