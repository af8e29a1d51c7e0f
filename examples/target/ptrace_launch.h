// Starts a program that waits, before it is the program, until it is traced.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "target/descriptor.h"

namespace example {

// The file that a shell would run for name: by itself if there is a slash in it, else out of the
// folders of PATH. False, with *problem set, when there is none that may be run.
bool FindProgram(const std::string& name, std::string* path, std::string* problem);

// A new process: a copy of this one that waits for Proceed, and then becomes the program.
class LaunchedProcess {
  public:
    // output: what becomes the program's standard output and error. False, with errno set, when the
    // system has no process for it.
    bool Start(const std::string& path, const std::vector<std::string>& command_line, int output);

    [[nodiscard]] pid_t Id() const { return id_; }

    // Lets it become the program.
    void Proceed() { go_.writing.Close(); }

    // Why it could not: an errno, 0 as long as nothing failed. Asked when it has ended or become
    // the program.
    [[nodiscard]] int Failure() const;

  private:
    [[noreturn]] void BecomeProgram(const char* path, char* const* arguments, int output);

    pid_t id_ = 0;
    Pipe go_;       // its end is the signal to proceed
    Pipe failure_;  // an errno comes, or at the exec its end
};

}  // namespace example
