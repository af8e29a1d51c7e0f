// The registers of a thread, as the system's CONTEXT holds them. The layout is the processor's:
// windows_registers_x64.cpp and windows_registers_x86.cpp implement this, one for each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <ztk/ztk.h>

#include "target/target.h"

namespace example {

// A register's place in a CONTEXT.
struct RegisterField {
    const char* name;
    std::size_t offset;
    std::size_t bytes;
    bool writable;  // segments are not: a thread with a wrong one cannot run at all
};

std::span<const RegisterField> RegisterFields();

// What GetThreadContext is to fill in for all of the fields.
DWORD ContextFlags();

Address InstructionPointer(const CONTEXT& context);
void SetInstructionPointer(CONTEXT* context, Address address);

// With the trap flag, the thread stops with a single-step exception after its next instruction.
void SetTrapFlag(CONTEXT* context, bool on);

std::uint64_t ReadField(const CONTEXT& context, const RegisterField& field);
void WriteField(CONTEXT* context, const RegisterField& field, std::uint64_t value);

}  // namespace example
