// The registers of a traced thread: x86, 64 bits.
#include <sys/ptrace.h>

#include <algorithm>

#include "target/ptrace_registers.h"

namespace example {

namespace {

using Value = unsigned long long user_regs_struct::*;

struct NamedValue {
    const char* name;
    Value value;
};

constexpr NamedValue kValues[] = {
    {"rax", &user_regs_struct::rax},         {"rbx", &user_regs_struct::rbx},
    {"rcx", &user_regs_struct::rcx},         {"rdx", &user_regs_struct::rdx},
    {"rsi", &user_regs_struct::rsi},         {"rdi", &user_regs_struct::rdi},
    {"rbp", &user_regs_struct::rbp},         {"rsp", &user_regs_struct::rsp},
    {"r8", &user_regs_struct::r8},           {"r9", &user_regs_struct::r9},
    {"r10", &user_regs_struct::r10},         {"r11", &user_regs_struct::r11},
    {"r12", &user_regs_struct::r12},         {"r13", &user_regs_struct::r13},
    {"r14", &user_regs_struct::r14},         {"r15", &user_regs_struct::r15},
    {"rip", &user_regs_struct::rip},         {"eflags", &user_regs_struct::eflags},
    {"cs", &user_regs_struct::cs},           {"ss", &user_regs_struct::ss},
    {"ds", &user_regs_struct::ds},           {"es", &user_regs_struct::es},
    {"fs", &user_regs_struct::fs},           {"gs", &user_regs_struct::gs},
    {"fs_base", &user_regs_struct::fs_base}, {"gs_base", &user_regs_struct::gs_base},
};

// The results with which the kernel marks a call that is to be begun again; no program sees them.
constexpr long long kRestartCodes[] = {-512, -513, -514, -516};

constexpr auto kInNoSystemCall = static_cast<unsigned long long>(-1);

}  // namespace

bool RegistersAreKnown(std::string*) {
    return true;
}

bool ThreadRegisters::Read(pid_t thread) {
    return ptrace(PTRACE_GETREGS, thread, nullptr, &values_) == 0;
}

bool ThreadRegisters::Write(pid_t thread) const {
    return ptrace(PTRACE_SETREGS, thread, nullptr, &values_) == 0;
}

Address ThreadRegisters::Next() const {
    return values_.rip;
}

void ThreadRegisters::SetNext(Address address) {
    values_.rip = address;
    values_.orig_rax = kInNoSystemCall;
}

bool ThreadRegisters::RepeatsSystemCall() const {
    return values_.orig_rax != kInNoSystemCall &&
           std::find(std::begin(kRestartCodes), std::end(kRestartCodes),
                     static_cast<long long>(values_.rax)) != std::end(kRestartCodes);
}

std::vector<Register> ThreadRegisters::List() const {
    std::vector<Register> list;
    for (const NamedValue& named : kValues) {
        list.push_back({named.name, values_.*named.value});
    }
    return list;
}

bool ThreadRegisters::Set(std::string_view name, std::uint64_t value) {
    for (const NamedValue& named : kValues) {
        if (name == named.name) {
            values_.*named.value = value;
            if (name == "rip") {
                SetNext(value);
            }
            return true;
        }
    }
    return false;
}

}  // namespace example
