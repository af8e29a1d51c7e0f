// The registers of x86-64.
#include <cstddef>

#include "target/windows_registers.h"

namespace example {

namespace {

constexpr RegisterField kFields[] = {
    {"rax", offsetof(CONTEXT, Rax), sizeof(CONTEXT::Rax), true},
    {"rbx", offsetof(CONTEXT, Rbx), sizeof(CONTEXT::Rbx), true},
    {"rcx", offsetof(CONTEXT, Rcx), sizeof(CONTEXT::Rcx), true},
    {"rdx", offsetof(CONTEXT, Rdx), sizeof(CONTEXT::Rdx), true},
    {"rsi", offsetof(CONTEXT, Rsi), sizeof(CONTEXT::Rsi), true},
    {"rdi", offsetof(CONTEXT, Rdi), sizeof(CONTEXT::Rdi), true},
    {"rbp", offsetof(CONTEXT, Rbp), sizeof(CONTEXT::Rbp), true},
    {"rsp", offsetof(CONTEXT, Rsp), sizeof(CONTEXT::Rsp), true},
    {"r8", offsetof(CONTEXT, R8), sizeof(CONTEXT::R8), true},
    {"r9", offsetof(CONTEXT, R9), sizeof(CONTEXT::R9), true},
    {"r10", offsetof(CONTEXT, R10), sizeof(CONTEXT::R10), true},
    {"r11", offsetof(CONTEXT, R11), sizeof(CONTEXT::R11), true},
    {"r12", offsetof(CONTEXT, R12), sizeof(CONTEXT::R12), true},
    {"r13", offsetof(CONTEXT, R13), sizeof(CONTEXT::R13), true},
    {"r14", offsetof(CONTEXT, R14), sizeof(CONTEXT::R14), true},
    {"r15", offsetof(CONTEXT, R15), sizeof(CONTEXT::R15), true},
    {"rip", offsetof(CONTEXT, Rip), sizeof(CONTEXT::Rip), true},
    {"eflags", offsetof(CONTEXT, EFlags), sizeof(CONTEXT::EFlags), true},
    {"cs", offsetof(CONTEXT, SegCs), sizeof(CONTEXT::SegCs), false},
    {"ss", offsetof(CONTEXT, SegSs), sizeof(CONTEXT::SegSs), false},
    {"ds", offsetof(CONTEXT, SegDs), sizeof(CONTEXT::SegDs), false},
    {"es", offsetof(CONTEXT, SegEs), sizeof(CONTEXT::SegEs), false},
    {"fs", offsetof(CONTEXT, SegFs), sizeof(CONTEXT::SegFs), false},
    {"gs", offsetof(CONTEXT, SegGs), sizeof(CONTEXT::SegGs), false},
};

}  // namespace

std::span<const RegisterField> RegisterFields() {
    return kFields;
}

DWORD ContextFlags() {
    return CONTEXT_CONTROL | CONTEXT_INTEGER | CONTEXT_SEGMENTS;
}

Address InstructionPointer(const CONTEXT& context) {
    return context.Rip;
}

void SetInstructionPointer(CONTEXT* context, Address address) {
    context->Rip = static_cast<decltype(context->Rip)>(address);
}

}  // namespace example
