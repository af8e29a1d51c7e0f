#include "platform/posix/process/standard_error.h"

#include <unistd.h>

#include <cerrno>

#include "platform/posix/text/quiet_write.h"

namespace ZTKPosix {

void WriteStandardError(const char* bytes, std::size_t count) noexcept {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t written = WriteWithoutSigpipe(STDERR_FILENO, bytes + done, count - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

}  // namespace ZTKPosix
