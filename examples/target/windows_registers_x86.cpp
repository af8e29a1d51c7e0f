// The registers of 32-bit x86.
#include <cstddef>

#include "target/windows_registers.h"

namespace example {

namespace {

constexpr RegisterField kFields[] = {
    {"eax", offsetof(CONTEXT, Eax), sizeof(CONTEXT::Eax), true},
    {"ebx", offsetof(CONTEXT, Ebx), sizeof(CONTEXT::Ebx), true},
    {"ecx", offsetof(CONTEXT, Ecx), sizeof(CONTEXT::Ecx), true},
    {"edx", offsetof(CONTEXT, Edx), sizeof(CONTEXT::Edx), true},
    {"esi", offsetof(CONTEXT, Esi), sizeof(CONTEXT::Esi), true},
    {"edi", offsetof(CONTEXT, Edi), sizeof(CONTEXT::Edi), true},
    {"ebp", offsetof(CONTEXT, Ebp), sizeof(CONTEXT::Ebp), true},
    {"esp", offsetof(CONTEXT, Esp), sizeof(CONTEXT::Esp), true},
    {"eip", offsetof(CONTEXT, Eip), sizeof(CONTEXT::Eip), true},
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
    return context.Eip;
}

void SetInstructionPointer(CONTEXT* context, Address address) {
    context->Eip = static_cast<decltype(context->Eip)>(address);
}

}  // namespace example
