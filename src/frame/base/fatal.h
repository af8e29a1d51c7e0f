// Ends the process with a message on standard error, where going on would break a promise.
#pragma once

namespace ZTK::frame {

[[noreturn]] void Fatal(const char* message) noexcept;

}  // namespace ZTK::frame
