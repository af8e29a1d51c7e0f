// A little simulated debuggee: memory, registers, threads and modules, and the commands that look
// at them. It gives the agent something real to answer from.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <ztk/ztk.h>

namespace example {

// Thread-safety: Execute may be called from any thread; the peers of an agent share one target.
class Target {
  public:
    Target();

    // Carries out one command line ("read-memory 0x1000 16"). Returns whether it could; *reply is
    // what it gave, or why it could not be done.
    bool Execute(std::string_view line, std::string* reply);

  private:
    struct Thread {
        int id;
        const char* name;
        std::array<std::uint64_t, 8> registers;
    };
    struct Command {
        const char* name;
        const char* usage;
        bool (Target::*run)(std::string_view arguments, std::string* reply);
    };
    static const Command kCommands[];

    bool Help(std::string_view arguments, std::string* reply);
    bool Registers(std::string_view arguments, std::string* reply);
    bool ReadMemory(std::string_view arguments, std::string* reply);
    bool WriteMemory(std::string_view arguments, std::string* reply);
    bool Threads(std::string_view arguments, std::string* reply);
    bool Modules(std::string_view arguments, std::string* reply);
    bool Break(std::string_view arguments, std::string* reply);
    bool Step(std::string_view arguments, std::string* reply);
    bool Evaluate(std::string_view arguments, std::string* reply);
    bool Echo(std::string_view arguments, std::string* reply);

    bool Value(std::string_view expression, std::uint64_t* value, std::string* reply);

    ZTK::CLock lock_;  // guards all below
    std::vector<unsigned char> memory_;
    std::vector<Thread> threads_;
    std::map<std::uint64_t, int> breakpoints_;  // address, number
};

}  // namespace example
