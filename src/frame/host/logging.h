// The state behind the logging functions, built and destroyed with the library.
#pragma once

namespace ZTK::frame {

void BuildLogging() noexcept;
void DestroyLogging() noexcept;

// In a child of fork: what another thread was changing at that moment. The log lock is no part of
// it: a thread that holds it may wait for the log's file, and the fork cannot wait for that thread;
// whoever wants the lock in the child takes it over.
void RepairLoggingInChild() noexcept;

}  // namespace ZTK::frame
