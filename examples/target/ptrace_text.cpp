// Numbers and errors of the system as the sentences for users have them.
#include "target/ptrace_text.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

namespace example {

std::string Hex(Address address) {
    char text[24];
    (void)std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(address));
    return text;
}

std::string SystemText(int error) {
    return std::generic_category().message(error);
}

std::string SignalName(int number) {
    const char* name = sigabbrev_np(number);
    return name != nullptr ? std::string("SIG") + name : "signal " + std::to_string(number);
}

bool Fail(std::string* problem, std::string sentence) {
    *problem = std::move(sentence);
    return false;
}

}  // namespace example
