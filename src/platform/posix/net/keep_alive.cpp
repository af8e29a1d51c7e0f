#include "platform/posix/net/keep_alive.h"

#include "platform/posix/net/socket_calls.h"

namespace ZTKPosix {

namespace {

int Set(SOCKET s, int level, int option, int value) noexcept {
    return setsockopt(s, level, option, reinterpret_cast<const char*>(&value), sizeof(value));
}

}  // namespace

int SetKeepAlive(SOCKET s, int idle_seconds, int interval_seconds) noexcept {
    constexpr int kProbes = 10;  // as on Windows, where it cannot be chosen
    if (idle_seconds == 0) {
        return Set(s, SOL_SOCKET, SO_KEEPALIVE, 0);
    }
    const bool set = Set(s, IPPROTO_TCP, TCP_KEEPIDLE, idle_seconds) == 0 &&
                     Set(s, IPPROTO_TCP, TCP_KEEPINTVL, interval_seconds) == 0 &&
                     Set(s, IPPROTO_TCP, TCP_KEEPCNT, kProbes) == 0 &&
                     Set(s, SOL_SOCKET, SO_KEEPALIVE, 1) == 0;
    return set ? 0 : SOCKET_ERROR;
}

}  // namespace ZTKPosix
