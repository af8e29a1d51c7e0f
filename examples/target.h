// A little simulated debuggee: memory, registers, threads and modules, and the commands that look
// at them. The agent's answers come from it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <ztk/ztk.h>

#include "xml_body.h"

namespace example {

// Thread-safety: Execute may be called from any thread; the peers of an agent share one target.
class Target {
  public:
    Target();

    // Carries out name, the command of a request. Returns whether it could; *reply is what it gave,
    // or why it could not be done.
    bool Execute(const std::string& name, XmlBody& request, std::string* reply);

  private:
    struct Thread {
        int id;
        const char* name;
        std::array<std::uint64_t, 8> registers;
    };
    struct Command {
        const char* name;
        const char* usage;
        bool (Target::*run)(XmlBody& request, std::string* reply);
    };
    static const Command kCommands[];

    bool Help(XmlBody& request, std::string* reply);
    bool Registers(XmlBody& request, std::string* reply);
    bool ReadMemory(XmlBody& request, std::string* reply);
    bool WriteMemory(XmlBody& request, std::string* reply);
    bool Threads(XmlBody& request, std::string* reply);
    bool Modules(XmlBody& request, std::string* reply);
    bool Break(XmlBody& request, std::string* reply);
    bool Step(XmlBody& request, std::string* reply);
    bool Evaluate(XmlBody& request, std::string* reply);
    bool Echo(XmlBody& request, std::string* reply);

    bool Value(std::string_view expression, std::uint64_t* value, std::string* reply);

    ZTK::CLock lock_;  // guards all below
    std::vector<unsigned char> memory_;
    std::vector<Thread> threads_;
    std::map<std::uint64_t, int> breakpoints_;  // address, number
};

}  // namespace example
