// Who called whom in a stopped thread.
#include "backtrace.h"

namespace example {

bool Backtrace(Target& target, ThreadId thread, std::vector<Address>* addresses,
               std::string* problem) {
    std::vector<Register> registers;
    if (!target.Registers(thread, &registers, problem)) {
        return false;
    }
    addresses->clear();
    for (const Register& one : registers) {
        if (one.name == "rip" || one.name == "eip") {
            addresses->push_back(one.value);
        }
    }
    return true;
}

}  // namespace example
