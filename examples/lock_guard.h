// Holds a lock for a scope.
#pragma once

#include <ztk/ztk.h>

namespace example {

class LockGuard {
  public:
    explicit LockGuard(ZTK::CLock* lock) : lock_(lock) { lock_->Lock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    ~LockGuard() { lock_->Unlock(); }

  private:
    ZTK::CLock* lock_;
};

}  // namespace example
