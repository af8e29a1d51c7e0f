// The thread's last error, kept over calls that are none of the host's business.
#pragma once

#include "ztk/platform.h"

namespace ZTK::frame {

// A host that logs between a failed call and its question for the reason still gets that reason.
class LastErrorKeeper {
  public:
    LastErrorKeeper() noexcept : code_(GetLastError()) {}
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;
    ~LastErrorKeeper() { SetLastError(code_); }

  private:
    const DWORD code_;
};

}  // namespace ZTK::frame
