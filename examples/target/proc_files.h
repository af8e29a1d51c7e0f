// What /proc tells of a process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "target/target.h"

namespace example {

// A file mapped into a process: a module, and where the first byte of it that is mapped stands in
// the file.
struct MappedFile {
    Module module;
    std::uint64_t file_offset = 0;
};

// The files with code in them, in the order of their addresses; of each the whole range that it is
// mapped to. Empty when the process is gone.
std::vector<MappedFile> MappedFiles(pid_t process);

// The numbers of its threads, those that have ended but are still counted among them. Empty when
// the process is gone.
std::vector<pid_t> ThreadsOf(pid_t process);

[[nodiscard]] bool HasThread(pid_t process, pid_t thread);

std::string ThreadName(pid_t process, pid_t thread);

// Whether a thread has ended: it is a zombie, or not there.
[[nodiscard]] bool HasEnded(pid_t thread);

// From /proc/ID/status, of a process or a thread; 0 when there is none. The tracer is the thread
// that traces it.
pid_t ProcessOf(pid_t thread);
pid_t TracerOf(pid_t thread);

// The first instruction of the program itself, 0 when unknown: the system starts with the loader.
Address EntryPoint(pid_t process);

// What the process runs, as the path of the file; empty when it is gone or not ours to ask.
std::string ProgramOf(pid_t process);

}  // namespace example
