// Holds a CLock for a scope.
#pragma once

#include "ztk/sync.h"

namespace ZTK::sync {

class ZTK_SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(CLock& lock) noexcept ZTK_ACQUIRE(lock) : lock_(lock) { lock_.Lock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    ~LockGuard() ZTK_RELEASE() { lock_.Unlock(); }

  private:
    CLock& lock_;
};

}  // namespace ZTK::sync
