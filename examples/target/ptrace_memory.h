// The memory of another process.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "target/descriptor.h"
#include "target/target.h"

namespace example {

// By /proc/ID/mem, which takes pieces of any size, also while the process runs, and writes where
// the process itself may not, such as into its code.
//
// Thread-safety: none of its own for Open and Close.
class ProcessMemory {
  public:
    // What is open stays tied to the program that the process runs now: after an exec it is opened
    // anew. False, with errno set, when the system does not let us.
    bool Open(pid_t process);
    void Close() { file_.Close(); }

    // How many of the first bytes could be read or written.
    std::size_t Read(Address address, void* bytes, std::size_t count) const;
    std::size_t Write(Address address, const void* bytes, std::size_t count) const;

  private:
    Descriptor file_;
};

}  // namespace example
