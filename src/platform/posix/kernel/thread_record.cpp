#include "platform/posix/kernel/thread_record.h"

#include <unistd.h>

namespace ZTKPosix {

constinit thread_local ThreadRecord current_record{};

DWORD FetchThreadId() noexcept {
    current_record.id = static_cast<DWORD>(gettid());
    return current_record.id;
}

}  // namespace ZTKPosix
