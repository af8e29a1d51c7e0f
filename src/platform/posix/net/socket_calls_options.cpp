// Socket options. Levels, names and values are the system's own, but for those below, whose meaning
// or form differs on the platform.
#include <cstring>

#include "platform/posix/net/connection_end.h"
#include "platform/posix/net/socket_calls.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

namespace {

constexpr int kMillisecondsPerSecond = 1000;
constexpr int kMicrosecondsPerMillisecond = 1000;

bool IsTimeout(int level, int option) noexcept {
    return level == SOL_SOCKET && (option == SO_RCVTIMEO || option == SO_SNDTIMEO);
}

int Result(int system_result) noexcept {
    return system_result == 0 ? 0 : FailSocketWithErrno();
}

int GetSystem(const SocketUse& use, int option, void* value, socklen_t length) noexcept {
    return Result(::getsockopt(use.descriptor(), SOL_SOCKET, option, value, &length));
}

int SetSystem(const SocketUse& use, int option, const void* value, socklen_t length) noexcept {
    return Result(::setsockopt(use.descriptor(), SOL_SOCKET, option, value, length));
}

// "Don't linger" is the inverse of the switch in SO_LINGER; the linger time stays.
int SetDontLinger(const SocketUse& use, int enable) noexcept {
    linger option{};
    if (GetSystem(use, SO_LINGER, &option, sizeof(option)) != 0) {
        return SOCKET_ERROR;
    }
    option.l_onoff = enable == 0;
    return SetSystem(use, SO_LINGER, &option, sizeof(option));
}

int GetDontLinger(const SocketUse& use, int* enabled) noexcept {
    linger option{};
    if (GetSystem(use, SO_LINGER, &option, sizeof(option)) != 0) {
        return SOCKET_ERROR;
    }
    *enabled = option.l_onoff == 0;
    return 0;
}

// Reading the pending error takes it off the socket; the calls that follow are told all the same.
int GetPendingError(SocketUse& use, int* code) noexcept {
    int error = 0;
    if (GetSystem(use, SO_ERROR, &error, sizeof(error)) != 0) {
        return SOCKET_ERROR;
    }
    *code = error == 0 ? 0 : NoteSystemError(use, error);
    return 0;
}

// A 4-byte time-out counts milliseconds.
int SetTimeout(const SocketUse& use, int option, DWORD milliseconds) noexcept {
    timeval time{};
    time.tv_sec = milliseconds / kMillisecondsPerSecond;
    time.tv_usec = milliseconds % kMillisecondsPerSecond * kMicrosecondsPerMillisecond;
    return SetSystem(use, option, &time, sizeof(time));
}

int GetTimeout(const SocketUse& use, int option, int* milliseconds) noexcept {
    timeval time{};
    if (GetSystem(use, option, &time, sizeof(time)) != 0) {
        return SOCKET_ERROR;
    }
    *milliseconds = static_cast<int>(time.tv_sec * kMillisecondsPerSecond +
                                     time.tv_usec / kMicrosecondsPerMillisecond);
    return 0;
}

// The options whose value the layer makes itself; all are 4 bytes long.
bool IsTranslated(int level, int option) noexcept {
    return level == SOL_SOCKET &&
           (option == SO_DONTLINGER || option == SO_ERROR || option == SO_REUSEADDR);
}

int GetTranslated(SocketUse& use, int option, int* value) noexcept {
    switch (option) {
        case SO_DONTLINGER:
            return GetDontLinger(use, value);
        case SO_ERROR:
            return GetPendingError(use, value);
        case SO_REUSEADDR:
            *value = use.Has(kSocketHostReuse);
            return 0;
        default:
            return GetTimeout(use, option, value);
    }
}

int SetTranslated(SocketUse& use, int option, int value) noexcept {
    switch (option) {
        case SO_DONTLINGER:
            return SetDontLinger(use, value);
        case SO_ERROR:
            return FailSocket(WSAENOPROTOOPT);  // can only be read
        case SO_REUSEADDR:
            // Remembered, but without effect: bind already allows what a host sets this for here,
            // and on the platform the option would let two sockets share a live port.
            if (value != 0) {
                use.Set(kSocketHostReuse);
            } else {
                use.Clear(kSocketHostReuse);
            }
            return 0;
        default:
            return SetTimeout(use, option, static_cast<DWORD>(value));
    }
}

}  // namespace

int getsockopt(SOCKET s, int level, int option, char* value, int* length) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    if (value == nullptr || length == nullptr || *length < 0) {
        return FailSocket(WSAEFAULT);
    }
    constexpr int kBytes = sizeof(int);
    if (IsTranslated(level, option) || (IsTimeout(level, option) && *length == kBytes)) {
        int result = 0;
        if (*length < kBytes) {
            return FailSocket(WSAEFAULT);
        }
        if (GetTranslated(use, option, &result) != 0) {
            return SOCKET_ERROR;
        }
        std::memcpy(value, &result, sizeof(result));
        *length = kBytes;
        return 0;
    }
    socklen_t room = static_cast<socklen_t>(*length);
    if (::getsockopt(use.descriptor(), level, option, value, &room) != 0) {
        return FailSocketWithErrno();
    }
    *length = static_cast<int>(room);
    return 0;
}

int setsockopt(SOCKET s, int level, int option, const char* value, int length) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    if (value == nullptr || length < 0) {
        return FailSocket(WSAEFAULT);
    }
    constexpr int kBytes = sizeof(int);
    if (IsTranslated(level, option) || (IsTimeout(level, option) && length == kBytes)) {
        int number = 0;
        if (length < kBytes) {
            return FailSocket(WSAEFAULT);
        }
        std::memcpy(&number, value, sizeof(number));
        return SetTranslated(use, option, number);
    }
    return Result(
        ::setsockopt(use.descriptor(), level, option, value, static_cast<socklen_t>(length)));
}

}  // namespace ZTKPosix
