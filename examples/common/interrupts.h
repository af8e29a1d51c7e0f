// Ctrl-C, and the system's wish that the program ends, as events that a thread can wait for.
#pragma once

#include <memory>

#include <ztk/ztk.h>

namespace example {

// As long as one of these lives, neither Ctrl-C nor a request to end (SIGTERM, SIGHUP; on Windows a
// console that is closed) ends the program by itself. On Linux the end of whoever reads its output
// does not either.
//
// Make one at a time, before the program has any other thread: on Linux threads inherit from the
// one that makes them that such signals are not for them. So do programs that they start: whoever
// starts one clears its signal mask.
//
// Thread-safety: the events may be waited for by any thread.
class Interrupts {
  public:
    Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;
    ~Interrupts();

    // Auto-reset event: Ctrl-C was pressed. Owned by this object, as is the next one.
    [[nodiscard]] HANDLE Interrupted() const { return interrupted_; }

    // Manual-reset event: the program is to end.
    [[nodiscard]] HANDLE EndRequested() const { return end_requested_; }

  private:
    class Watch;  // what the target needs

    HANDLE interrupted_;
    HANDLE end_requested_;
    std::unique_ptr<Watch> watch_;
};

}  // namespace example
