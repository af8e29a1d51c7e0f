// The socket library's life in a program.
#pragma once

#include <ztk/ztk.h>

namespace example {

// Starts the socket library; at its end waits for the worker threads that are still registered, and
// stops the socket library. Objects with sockets live inside its scope.
class SocketLibrary {
  public:
    SocketLibrary() { ZTK::InitWSA(); }
    SocketLibrary(const SocketLibrary&) = delete;
    SocketLibrary& operator=(const SocketLibrary&) = delete;

    ~SocketLibrary() {
        // Whoever owns a thread has waited for it by now; this is for any that were forgotten.
        ZTK::WaitRegisteredThreadsExit(5000);
        ZTK::CloseWSA();
    }
};

}  // namespace example
