// The two logging switches that EnableLogging sets.
#pragma once

#include <atomic>

namespace ZTK::frame {

struct LoggingSwitches {
    std::atomic<bool> enabled{false};
    std::atomic<bool> text_mode{false};
};
inline constinit LoggingSwitches logging_switches;

inline bool LoggingEnabled() noexcept {
    return logging_switches.enabled.load(std::memory_order_relaxed);
}

// Whether received messages are logged as text rather than as a hex dump.
inline bool LoggingAsText() noexcept {
    return logging_switches.text_mode.load(std::memory_order_relaxed);
}

}  // namespace ZTK::frame
