// Registers in a CONTEXT: what is the same on all processors.
#include "target/windows_registers.h"

#include <cstring>

namespace example {

// Both processors keep the low byte first, so that a field's bytes are the low ones of the value.
std::uint64_t ReadField(const CONTEXT& context, const RegisterField& field) {
    std::uint64_t value = 0;
    std::memcpy(&value, reinterpret_cast<const char*>(&context) + field.offset, field.bytes);
    return value;
}

void WriteField(CONTEXT* context, const RegisterField& field, std::uint64_t value) {
    std::memcpy(reinterpret_cast<char*>(context) + field.offset, &value, field.bytes);
}

void SetTrapFlag(CONTEXT* context, bool on) {
    constexpr DWORD kTrapFlag = 0x100;
    context->EFlags = on ? context->EFlags | kTrapFlag : context->EFlags & ~kTrapFlag;
}

}  // namespace example
