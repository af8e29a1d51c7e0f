// The commands that a peer's requests name: what they take, what they ask of the target, and what
// they answer.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "common/xml_body.h"
#include "target/target.h"

namespace example {

// Thread-safety: Execute may be called from any thread, as the target's functions may.
class Commands {
  public:
    // target is borrowed.
    explicit Commands(Target* target) : target_(*target) {}

    // Carries out name, the command of a request. Returns whether it could; *reply is what it gave,
    // or why it could not be done.
    bool Execute(const std::string& name, XmlBody& request, std::string* reply);

  private:
    struct Command {
        const char* name;
        const char* usage;
        bool (Commands::*run)(XmlBody& request, std::string* reply);
    };
    static const Command kCommands[];

    bool Help(XmlBody& request, std::string* reply);
    bool Status(XmlBody& request, std::string* reply);
    bool Launch(XmlBody& request, std::string* reply);
    bool Attach(XmlBody& request, std::string* reply);
    bool Detach(XmlBody& request, std::string* reply);
    bool Kill(XmlBody& request, std::string* reply);
    bool Modules(XmlBody& request, std::string* reply);
    bool Threads(XmlBody& request, std::string* reply);
    bool Registers(XmlBody& request, std::string* reply);
    bool WriteRegister(XmlBody& request, std::string* reply);
    bool ReadMemory(XmlBody& request, std::string* reply);
    bool WriteMemory(XmlBody& request, std::string* reply);
    bool Break(XmlBody& request, std::string* reply);
    bool Delete(XmlBody& request, std::string* reply);
    bool Continue(XmlBody& request, std::string* reply);
    bool Step(XmlBody& request, std::string* reply);
    bool Interrupt(XmlBody& request, std::string* reply);
    bool Backtrace(XmlBody& request, std::string* reply);
    bool Evaluate(XmlBody& request, std::string* reply);
    bool Echo(XmlBody& request, std::string* reply);

    bool Value(std::string_view expression, std::uint64_t* value, std::string* reply);
    bool ByteValues(std::string_view words, std::vector<unsigned char>* bytes, std::string* reply);
    std::string WithSymbol(Address address);

    Target& target_;
};

}  // namespace example
