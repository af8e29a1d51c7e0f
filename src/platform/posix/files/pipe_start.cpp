#include "platform/posix/files/pipe_start.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace ZTKPosix {

namespace {

// Where the system copies a pipe's bytes to. Closed also where the thread is cancelled.
class ScratchPipe {
  public:
    ScratchPipe() noexcept {
        if (::pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0) {
            ends_[0] = ends_[1] = -1;
        }
    }
    ScratchPipe(const ScratchPipe&) = delete;
    ScratchPipe& operator=(const ScratchPipe&) = delete;
    ~ScratchPipe() {
        if (ends_[0] != -1) {
            (void)::close(ends_[0]);
            (void)::close(ends_[1]);  // nobody needs what was written to it
        }
    }

    // The bytes copied; 0 at the end of the pipe, -1 with errno.
    ssize_t CopyFrom(int file, char* room, std::size_t size) const noexcept {
        if (ends_[0] == -1) {
            errno = EMFILE;
            return -1;
        }
        const ssize_t copied = ::tee(file, ends_[1], size, SPLICE_F_NONBLOCK);
        return copied > 0 ? ::read(ends_[0], room, static_cast<std::size_t>(copied)) : copied;
    }

  private:
    int ends_[2];
};

// The bytes at hand; 0 at the end, -1 with errno: EAGAIN if there are none yet, EINVAL if the
// descriptor cannot be looked at.
ssize_t Peek(int file, char* room, std::size_t size) noexcept {
    const ssize_t peeked = ::recv(file, room, size, MSG_PEEK | MSG_DONTWAIT);
    return peeked >= 0 || errno != ENOTSOCK ? peeked : ScratchPipe().CopyFrom(file, room, size);
}

bool PeerHasClosed(int file) noexcept {
    pollfd state{file, POLLIN | POLLRDHUP, 0};
    return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLRDHUP | POLLERR)) != 0;
}

// Until there is a byte, or, where there are some, for a moment: the system tells of no more.
void WaitForMore(int file, bool none_yet) {
    if (none_yet) {
        pollfd state{file, POLLIN, 0};
        (void)::poll(&state, 1, -1);  // looked at anew in any case
    } else {
        constexpr timespec kNap{0, 5000000};
        (void)nanosleep(&kNap, nullptr);
    }
}

}  // namespace

bool LookAtPipeStart(int file, bool (*are_enough)(std::string_view), char (&room)[5],
                     std::string_view& seen) {
    for (;;) {
        const bool closed = PeerHasClosed(file);
        const ssize_t size = Peek(file, room, sizeof room);
        if (size < 0 && errno != EAGAIN && errno != EINTR) {
            seen = {};
            return errno == EINVAL;
        }
        seen = {room, size > 0 ? static_cast<std::size_t>(size) : 0};
        if (size == 0 || (size > 0 && (closed || are_enough(seen)))) {
            return true;
        }
        if ((::fcntl(file, F_GETFL) & O_NONBLOCK) != 0) {
            errno = EAGAIN;
            return false;
        }
        WaitForMore(file, size < 0);
    }
}

int OpenPipeOf(std::string_view bytes) noexcept {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return -1;
    }
    (void)::write(ends[1], bytes.data(), bytes.size());  // an empty pipe has room for them
    (void)::close(ends[1]);
    return ends[0];
}

}  // namespace ZTKPosix
