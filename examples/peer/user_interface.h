// Where the lines of the peer's user come from, and where they see what happens. A script is read
// from front to end; a console has a prompt.
#pragma once

#include <string>
#include <string_view>

#include <ztk/ztk.h>

namespace example {

// Lines are read by a thread of its own, so that nobody who waits for a line misses an event. That
// thread may wait for its input for ever, and ends with the process.
//
// Thread-safety: one thread takes lines and prints.
class UserInterface {
  public:
    enum class Next { kLine, kNoneYet, kEnd, kUnreadable };

    virtual ~UserInterface() = default;

    // Auto-reset event: a line, or the end, has come.
    [[nodiscard]] virtual HANDLE Arrived() const = 0;

    // The next line without its end. On a console the user is asked for one when there is none.
    virtual Next Take(std::string* line) = 0;

    // Shows whole lines; each ends with a line end.
    virtual void Print(std::string_view lines) = 0;

    // A user who is there mends a failed request; a script is over with the first that gets no
    // answer.
    [[nodiscard]] virtual bool IsInteractive() const = 0;
};

}  // namespace example
