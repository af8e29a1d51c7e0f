// The trace log, logging and assertions.
//
// There is one output, the trace-log file: UTF-16 little-endian with a byte-order mark, each line
// feed written as carriage return and line feed. Texts are written exactly as they are passed;
// nothing is added. With no trace log open, every writer but ZTKAssert does nothing visible.
//
//     ZTKOpenTraceLog(L"agent.log");
//     ZTK::EnableLogging(true, 0);
//     ZTKTrace(L"agent %s started, pid %u\n", name, pid);
//     ...
//     ZTKCloseTraceLog();
//
// The file is flushed after every 16th write, counted over all writers, and when it is closed.
// Write errors (a full disk) are swallowed: the log never disturbs the agent.
#pragma once

#include "ztk/platform.h"

namespace ZTK {

// Switches the logging functions below on or off, and chooses how received socket messages are
// logged: mode 1 as text, any other mode as a hex dump. Takes effect on the next call. Safe from
// any thread.
ZTK_API void EnableLogging(bool enable, int mode) noexcept;

// Logs a UTF-8 or a wide text while logging is on. A null or empty text is ignored. The narrow form
// takes one wide ring string; a text of more than 512000 UTF-16 units, terminator included, is not
// logged. Safe from any thread; the logging functions exclude each other.
ZTK_API void LogTextA(const char* text) noexcept;
ZTK_API void LogTextW(const wchar_t* text) noexcept;

// Logs one line while logging is on: label, a blank, two upper-case hex digits for each of the size
// bytes of data, a line feed. A null or empty label leaves out label and blank. When memory is
// short the line is dropped; if an existing line buffer could not be grown, LogHex stays silent for
// the rest of the process, so that a process short of memory is not asked again. Safe from any
// thread. REQUIRES: data holds size bytes (it may be null when size is 0).
ZTK_API void LogHex(const wchar_t* label, unsigned char* data, DWORD size) noexcept;

}  // namespace ZTK

// Creates or truncates the file at path as the trace log. Returns true if a trace log is open
// afterwards: when one is open already, it stays and path is ignored. False when the file cannot be
// opened, and for a null path. Must not run while other threads write to the trace log.
ZTK_API bool ZTKOpenTraceLog(const wchar_t* path) noexcept;

// Writes out and closes the trace log; without one it does nothing. Must not run while other
// threads write to the trace log.
ZTK_API void ZTKCloseTraceLog() noexcept;

// Writes text to the trace log, whether logging is switched on or not. One call is written whole,
// also beside other threads. REQUIRES: text is not null.
ZTK_API void ZTKWriteTraceLog(const wchar_t* text) noexcept;

// Formats as wide printf does (%s takes wide text) and writes the result to the trace log, whether
// logging is switched on or not; no line end is added. Takes one wide ring string, also when no
// trace log is open. A format that fails, or a result of 512000 characters or more, writes nothing.
// Safe from any thread.
ZTK_API void ZTKTrace(const wchar_t* format, ...) noexcept;

// Shows a modal message box with expression, file and line when condition is 0, and returns when
// the user has dismissed it; nothing else happens. A message of more than 519 characters ends the
// process: keep expressions and file names short. Safe from any thread. On Linux the box goes to
// standard error unless the host installs a handler, see SetMessageBoxHandler in
// ztk/platform/posix/winuser.h.
ZTK_API void ZTKAssert(int condition, wchar_t* expression, wchar_t* file, int line) noexcept;
