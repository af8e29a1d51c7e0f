// The standard input of the peer, and the terminal that it may be. One file for each target.
#pragma once

#include <cstddef>
#include <string>

namespace example {

// The next bytes of the standard input, waited for. 0 at its end, -1 when it cannot be read.
long ReadStandardInput(char* bytes, std::size_t count);

// The terminal of the standard input and output, read key by key: what is typed is shown by us,
// which lets us print a line above the one that is typed. There is at most one object.
class Terminal {
  public:
    // Whether both are a terminal.
    [[nodiscard]] static bool IsThere();

    Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();  // leaves the terminal as it was

    // What was typed next, in UTF-8, waited for; empty when there will be no more.
    [[nodiscard]] static std::string Read();
};

}  // namespace example
