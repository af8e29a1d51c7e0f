// Command lines and endpoints of the examples.
#pragma once

#include <string>
#include <vector>

#include <ztk/ztk.h>

namespace example {

// Takes options of the forms "--name" and "--name VALUE" out of a command line.
class CommandLine {
  public:
    CommandLine(int argc, char** argv);

    [[nodiscard]] bool Flag(const char* name);
    [[nodiscard]] std::string Text(const char* name, const char* otherwise);
    [[nodiscard]] long Number(const char* name, long least, long most, long otherwise);

    // Whether every argument was understood; if not, *problem says which one was not.
    [[nodiscard]] bool Understood(std::string* problem) const;

  private:
    std::vector<std::string> arguments_;
    std::string problem_;
};

// The endpoint of a host's name or address text; a text with a colon is an IPv6 address.
ZTK::TSOSocketInfo Endpoint(const std::string& host, long port);

// UTF-8 for narrow output; an empty text for null.
std::string Narrow(const wchar_t* text);

}  // namespace example
