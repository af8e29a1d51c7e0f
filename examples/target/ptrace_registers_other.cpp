// The registers of a traced thread: a processor that nobody has described yet. ThreadRegisters of
// x86_64 shows what it takes; the instruction of a breakpoint is in breakpoint_table.h.
#include <cerrno>

#include "target/ptrace_registers.h"
#include "target/ptrace_text.h"

namespace example {

bool RegistersAreKnown(std::string* problem) {
    return Fail(problem, "this agent controls processes on x86-64 processors only");
}

bool ThreadRegisters::Read(pid_t) {
    errno = ENOSYS;
    return false;
}

bool ThreadRegisters::Write(pid_t) const {
    errno = ENOSYS;
    return false;
}

Address ThreadRegisters::Next() const {
    return 0;
}

void ThreadRegisters::SetNext(Address) {}

bool ThreadRegisters::RepeatsSystemCall() const {
    return false;
}

std::vector<Register> ThreadRegisters::List() const {
    return {};
}

bool ThreadRegisters::Set(std::string_view, std::uint64_t) {
    return false;
}

}  // namespace example
