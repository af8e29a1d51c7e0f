// Starting a program as a debuggee of the calling thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "target/windows_output.h"

namespace example {

// Starts the program, which belongs to the calling thread: its events come to that one. *output
// reads what it writes. On failure returns false with *problem set, a sentence for the user.
bool StartProgram(const std::vector<std::string>& command_line, EventSink* sink,
                  std::unique_ptr<OutputReader>* output, DWORD* process, std::string* problem);

}  // namespace example
