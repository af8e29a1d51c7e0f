// The registers of a thread that is traced. One source for each processor.
#pragma once

#include <sys/types.h>
#include <sys/user.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "target/target.h"

namespace example {

// Whether there is such a source for the processor that this program was built for.
bool RegistersAreKnown(std::string* problem);

// A copy of a stopped thread's registers.
class ThreadRegisters {
  public:
    // False, with errno set, when the thread is not stopped or not there.
    bool Read(pid_t thread);
    bool Write(pid_t thread) const;

    [[nodiscard]] Address Next() const;  // the next instruction

    // Has the thread go on somewhere else. A system call that it was stopped in is not repeated.
    void SetNext(Address address);

    // Whether the thread was stopped in a system call that the system begins again when it goes on:
    // it then does not go on with the next instruction.
    [[nodiscard]] bool RepeatsSystemCall() const;

    [[nodiscard]] std::vector<Register> List() const;

    // False for an unknown name.
    bool Set(std::string_view name, std::uint64_t value);

  private:
    user_regs_struct values_{};
};

}  // namespace example
