// The state behind the logging functions, built and destroyed with the library.
#pragma once

namespace ZTK::frame {

void BuildLogging() noexcept;
void DestroyLogging() noexcept;

}  // namespace ZTK::frame
