// Events as the peer shows them, a line each.
#pragma once

#include <string>

#include "target/event.h"

namespace example {

// Whether an event has that name on the wire, by which "wait" knows it.
[[nodiscard]] bool IsEventName(const std::string& name);

// Makes lines of events. What the debuggee writes is shown line by line, each behind a mark that
// tells it from what the peer says; so a line waits for its end, but not for longer than until
// something else happens.
class EventText {
  public:
    // The lines to show, each with its line end; none for output whose line is not complete.
    std::string Lines(const Event& event);

    // What was kept back.
    std::string Rest();

  private:
    void AddOutput(const std::string& text, std::string* lines);

    std::string unfinished_;  // a line of output without its end
};

}  // namespace example
