// Keep-alive with its times. On both targets:
//
//     int SetKeepAlive(SOCKET s, int idle_seconds, int interval_seconds)
//
// Switches keep-alive on, or off with an idle time of 0. 0, or SOCKET_ERROR with the last error
// set. REQUIRES: both are between 0 and kMostKeepAliveSeconds, the interval at least 1.
#pragma once

#if defined(_WIN32)
#include "platform/windows/net/keep_alive.h"
#else
#include "platform/posix/net/keep_alive.h"
namespace ZTK {
using ZTKPosix::SetKeepAlive;
}  // namespace ZTK
#endif

namespace ZTK {

inline constexpr int kMostKeepAliveSeconds = 32767;  // of Linux; Windows takes more

}  // namespace ZTK
