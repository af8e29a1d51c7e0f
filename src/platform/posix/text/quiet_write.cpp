#include "platform/posix/text/quiet_write.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace ZTKPosix {

bool MayRaiseSigpipe(int file) noexcept {
    struct stat status;
    return ::fstat(file, &status) != 0 || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
}

// The system sends the signal to the writing thread. It is blocked there meanwhile, and taken back
// if the write made it pending; one that was pending before is the host's.
ssize_t WriteWithoutSigpipe(int file, const void* bytes, std::size_t count) noexcept {
    sigset_t sigpipe;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, &sigpipe, &mask);
    sigset_t pending;
    sigpending(&pending);
    const ssize_t written = ::write(file, bytes, count);
    const int error = errno;
    // A reader that goes while the write waits for it leaves both a part written and the signal.
    if (written != static_cast<ssize_t>(count) && sigismember(&pending, SIGPIPE) == 0) {
        const timespec at_once{};
        while (sigtimedwait(&sigpipe, nullptr, &at_once) == -1 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    errno = error;
    return written;
}

}  // namespace ZTKPosix
