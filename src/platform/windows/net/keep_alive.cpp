#include "platform/windows/net/keep_alive.h"

#include <mstcpip.h>

namespace ZTK {

int SetKeepAlive(SOCKET s, int idle_seconds, int interval_seconds) noexcept {
    tcp_keepalive settings{};
    settings.onoff = idle_seconds != 0;
    settings.keepalivetime = static_cast<ULONG>(idle_seconds) * 1000;
    settings.keepaliveinterval = static_cast<ULONG>(interval_seconds) * 1000;
    DWORD bytes = 0;
    return WSAIoctl(s, SIO_KEEPALIVE_VALS, &settings, sizeof(settings), nullptr, 0, &bytes, nullptr,
                    nullptr);
}

}  // namespace ZTK
