// Which process is which, and whether it still lives.
#pragma once

#include <cstdint>

namespace ZTKPosix::shared {

// Of one process in one program: an exec makes another of it, a later process with the same pid
// is another.
struct ProcessIdentity {
    std::uint64_t pid = 0;
    std::uint64_t start_time = 0;   // since the system was started
    std::uint64_t start_stack = 0;  // where its stack begins; 0 if the system does not tell
};

// The calling process; false if the system does not tell.
bool ReadOwnIdentity(ProcessIdentity* identity) noexcept;

// False only for a process that is gone, or is another one by now.
bool IsAlive(const ProcessIdentity& identity) noexcept;

// Whether any thread of any process has that id.
bool ThreadExists(std::uint32_t thread_id) noexcept;

}  // namespace ZTKPosix::shared
