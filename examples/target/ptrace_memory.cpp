// The memory of another process.
#include "target/ptrace_memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace example {

namespace {

// Calls transfer(done, rest) until all count bytes are there or nothing comes any more: the system
// ends each transfer where the memory does.
template <class Transfer>
std::size_t InPieces(std::size_t count, Transfer transfer) {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t piece = transfer(done, count - done);
        if (piece <= 0) {
            break;
        }
        done += static_cast<std::size_t>(piece);
    }
    return done;
}

}  // namespace

bool ProcessMemory::Open(pid_t process) {
    file_ =
        Descriptor(open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDWR | O_CLOEXEC));
    return file_.IsOpen();
}

std::size_t ProcessMemory::Read(Address address, void* bytes, std::size_t count) const {
    return InPieces(count, [&](std::size_t done, std::size_t rest) {
        return pread(file_.Get(), static_cast<char*>(bytes) + done, rest,
                     static_cast<off_t>(address + done));
    });
}

std::size_t ProcessMemory::Write(Address address, const void* bytes, std::size_t count) const {
    return InPieces(count, [&](std::size_t done, std::size_t rest) {
        return pwrite(file_.Get(), static_cast<const char*>(bytes) + done, rest,
                      static_cast<off_t>(address + done));
    });
}

}  // namespace example
