// Command lines and endpoints of the examples.
#pragma once

#include <string>
#include <vector>

#include <ztk/ztk.h>

namespace example {

// Takes options of the forms "--name" and "--name VALUE" out of a command line. The program asks
// for each option that it knows; IsSettled then says whether the program is done already. An option
// may be given once. A value does not begin with "--": a file of such a name is written "./--name".
class CommandLine {
  public:
    // program begins every complaint; usage follows it, and answers "--help".
    CommandLine(int argc, char** argv, const char* program, const char* usage);

    [[nodiscard]] bool Flag(const char* name);
    [[nodiscard]] std::string Text(const char* name, const char* otherwise);
    [[nodiscard]] long Number(const char* name, long least, long most, long otherwise);
    [[nodiscard]] long RequiredNumber(const char* name, long least, long most);

    // All that follows the option is its value, whatever it looks like; empty without the option.
    // REQUIRES: asked for before all others, which look at what stands before it.
    [[nodiscard]] std::vector<std::string> Rest(const char* name);

    // Has IsSettled name a problem, unless there is one already.
    void Complain(const std::string& problem);

    // True if there is nothing left to run: help was asked for and has been shown (*exit_code 0),
    // or an argument was not understood and has been named on standard error (*exit_code 2). Call
    // it after all options have been asked for.
    [[nodiscard]] bool IsSettled(int* exit_code) const;

  private:
    const char* program_;
    const char* usage_;
    std::vector<std::string> arguments_;  // that were not asked for yet
    std::vector<std::string> taken_;      // options that were found
    std::string problem_;                 // the first
    bool help_;
};

// The endpoint of a host's name or address text; a text with a colon is an IPv6 address.
ZTK::TSOSocketInfo Endpoint(const std::string& host, long port);

// UTF-8 for narrow output; an empty text for null.
std::string Narrow(const wchar_t* text);

}  // namespace example
