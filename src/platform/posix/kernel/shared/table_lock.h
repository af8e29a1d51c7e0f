// The lock of the table.
#pragma once

#include "platform/posix/kernel/shared/layout.h"

namespace ZTKPosix::shared {

// A span of time in the table's lock. Nobody dies in it unnoticed: the next one repairs the table
// before anything else. Taken before dispatcher_lock by whoever needs both, so that a process that
// is stopped in here does not hold up those that use unnamed objects.
class TableSection {
  public:
    // REQUIRES: Attach has returned kShared. Test it with IsEntered: it is not when the thread got
    // no seat, or when somebody has been in the lock for seconds, as one whom a debugger has
    // stopped there. Then nothing of the table may be changed that asks for a TableSection.
    TableSection() noexcept;
    ~TableSection();
    TableSection(const TableSection&) = delete;
    TableSection& operator=(const TableSection&) = delete;

    [[nodiscard]] bool IsEntered() const noexcept { return entered_; }

  private:
    bool entered_;
};

}  // namespace ZTKPosix::shared
