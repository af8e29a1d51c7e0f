// Keep-alive with its times: platform/keep_alive.h has the contract.
#pragma once

#include "ztk/platform.h"

namespace ZTK {

int SetKeepAlive(SOCKET s, int idle_seconds, int interval_seconds) noexcept;

}  // namespace ZTK
