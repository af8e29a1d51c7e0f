// Dates and times as documents write them.
#pragma once

#include <cstddef>

#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix::dom {

// Reads "YYYY-MM-DD", "hh:mm:ss" with an optional fraction of a second, or both with a 'T' between
// them. has_date and has_time say which of them belong there; where both do, the time may be
// missing. With has_zone the time may be followed by 'Z' or "+hh:mm" or "-hh:mm", which is added to
// the time. Hosts expect that of the DOM, although the time at zone 0 would be the difference.
// False, with date as it was, for any other text and for a day or time that does not exist.
[[nodiscard]] bool ParseDate(const wchar_t* text, std::size_t length, bool has_date, bool has_time,
                             bool has_zone, DATE& date) noexcept;

}  // namespace ZTKPosix::dom
