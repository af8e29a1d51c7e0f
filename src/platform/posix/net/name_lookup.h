// Name lookups and fork.
//
// The C library takes locks of its own while it looks up a name, and a child forked in between
// would find them taken for ever. So a fork waits for the lookups that are running, but not for
// long: a name server may take half a minute. In the child of a fork that did not wait any longer
// names are not looked up any more.
#pragma once

#include "platform/posix/kernel/lock/lock.h"

namespace ZTKPosix {

// One lookup. Made while a fork is about to begin, it waits for that.
class NameLookup {
  public:
    NameLookup() noexcept;
    ~NameLookup();
    NameLookup(const NameLookup&) = delete;
    NameLookup& operator=(const NameLookup&) = delete;

    // False: only numbers may be read and written, which takes no lock.
    [[nodiscard]] bool TakesNames() const noexcept;
};

// Taken to begin a lookup.
inline constinit Lock lookup_lock;

// Waits for the lookups that are running.
void WaitForLookupsBeforeFork() noexcept ZTK_REQUIRES(lookup_lock);

// In a child of fork: forgets the lookups of the parent's other threads.
void ForgetLookupsInChild() noexcept ZTK_REQUIRES(lookup_lock);

}  // namespace ZTKPosix
