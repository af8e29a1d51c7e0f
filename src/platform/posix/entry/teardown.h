// What the layer's pieces do when the library is unloaded while the process goes on: give
// everything back. Not called when the process ends, because other threads may still use the layer
// then.
#pragma once

namespace ZTKPosix {

// Waits until ended threads have left the library's code and makes threads that were never resumed
// end without running. Called first, before any memory goes.
void ReapThreads() noexcept;

// Closes the sockets that are still open and frees their table.
void TearDownSockets() noexcept;

// Stops noticing the end of threads, whose COM error records are then not given back; gives back
// the calling thread's.
void TearDownCom() noexcept;

// Stops noticing the end of threads.
void TearDownThreads() noexcept;

// Closes every open handle and frees the table.
void TearDownHandles() noexcept;

}  // namespace ZTKPosix
