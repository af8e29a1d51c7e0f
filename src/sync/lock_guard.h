// Holds a CLock for a scope.
#pragma once

#include "ztk/sync.h"

namespace ZTK::sync {

class LockGuard {
  public:
    explicit LockGuard(CLock& lock) noexcept : lock_(lock) { lock_.Lock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    ~LockGuard() { lock_.Unlock(); }

  private:
    CLock& lock_;
};

}  // namespace ZTK::sync
