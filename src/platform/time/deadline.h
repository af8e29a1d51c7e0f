// The moment by which a call that takes several steps has to be done.
#pragma once

#include <chrono>

#include "ztk/platform.h"

namespace ZTK {

// Counts on the clock that nobody sets. Constant after construction.
class Deadline {
  public:
    // So many milliseconds from now; INFINITE: never.
    explicit Deadline(DWORD milliseconds) noexcept
        : never_(milliseconds == INFINITE),
          moment_(Clock::now() + std::chrono::milliseconds(never_ ? 0 : milliseconds)) {}

    // Milliseconds until then: 0 once it has passed, INFINITE when there is none. A rest of a
    // millisecond counts as one, so that waits do not end before it.
    [[nodiscard]] DWORD Left() const noexcept {
        if (never_) {
            return INFINITE;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(moment_ - Clock::now());
        return left.count() > 0 ? static_cast<DWORD>(left.count()) : 0;
    }

  private:
    using Clock = std::chrono::steady_clock;

    const bool never_;
    const Clock::time_point moment_;
};

}  // namespace ZTK
