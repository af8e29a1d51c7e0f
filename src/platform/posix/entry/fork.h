// What keeps the library in working order in a child of fork.
#pragma once

namespace ZTKPosix {

// Has the system call the library at every fork until it is unloaded.
void RegisterForkHandlers() noexcept;

}  // namespace ZTKPosix
