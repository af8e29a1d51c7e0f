// The trace-log file, the one output of the library's diagnostics.
#pragma once

namespace ZTK::frame {

[[nodiscard]] bool TraceLogIsOpen() noexcept;

// Writes text if a trace log is open, and flushes it after every 16th write of all writers
// together. Then hands it to the host's log hook, if there is one.
void WriteTraceLog(const wchar_t* text) noexcept;

// Closes the trace log if one is open.
void CloseTraceLog() noexcept;

}  // namespace ZTK::frame
