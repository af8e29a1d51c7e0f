// The state behind the logging functions, built and destroyed with the library.
#pragma once

namespace ZTK::frame {

void BuildLogging() noexcept;
void DestroyLogging() noexcept;

// The log lock, for the time of a fork.
void LockLogging() noexcept;
void UnlockLogging() noexcept;

}  // namespace ZTK::frame
