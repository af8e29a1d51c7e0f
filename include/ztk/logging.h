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
// The file is flushed after every 16th write, counted over all writers, and when it is closed: a
// process that ends abruptly can lose up to 15 writes.
//
// Errors: a write that fails (a full disk) is dropped without a sign, and so is a text that there
// is no memory for: the log never disturbs the agent. A log that is a pipe or a terminal may take
// nothing for a while. On Linux the writer waits for it for five seconds, and drops texts from then
// on until it takes some again; closing it waits for one second.
//
// Thread-safety: every function may be called from any thread, but ZTKOpenTraceLog and
// ZTKCloseTraceLog only while no other thread writes to the trace log. One call's text is written
// whole, also beside other threads.
#pragma once

#include "ztk/platform.h"

namespace ZTK {

// Switches the logging functions below on or off, and chooses how received socket messages are
// logged: mode 1 as text, any other mode as a hex dump. Takes effect on the next call. Logging is
// off until the first call.
ZTK_API void EnableLogging(bool enable, int mode) noexcept;

// Logs a UTF-8 or a wide text while logging is on. A null or empty text is ignored. The narrow form
// takes one wide ring string; a text of more than 512000 UTF-16 units, terminator included, is not
// logged. The logging functions exclude each other.
ZTK_API void LogTextA(const char* text) noexcept;
ZTK_API void LogTextW(const wchar_t* text) noexcept;

// Logs one line while logging is on: label, a blank, two upper-case hex digits for each of the size
// bytes of data, a line feed. A null or empty label leaves out label and blank. A line that takes
// 4 GiB or more (from 2^30 bytes of data) is dropped, and so is one that there is no memory for; if
// the line buffer exists and cannot be grown, LogHex stays silent for the rest of the process, so
// that a process short of memory is not asked again. REQUIRES: data holds size bytes (it may be
// null when size is 0).
ZTK_API void LogHex(const wchar_t* label, unsigned char* data, DWORD size) noexcept;

}  // namespace ZTK

// Creates or truncates the file at path as the trace log. Returns true if a trace log is open
// afterwards: when one is open already, it stays and path is ignored. False when the file cannot be
// opened (on Linux a named pipe that nobody reads, too), when memory is short, and for a null path.
ZTK_API bool ZTKOpenTraceLog(const wchar_t* path) noexcept;

// Writes out and closes the trace log; without one it does nothing. Another may be opened then. An
// unload of the library and the end of the process close it, too.
ZTK_API void ZTKCloseTraceLog() noexcept;

// Writes text to the trace log, whether logging is switched on or not. REQUIRES: text is not null.
ZTK_API void ZTKWriteTraceLog(const wchar_t* text) noexcept;

// Formats as the wide StrFormat of ztk/strings.h does (%s takes wide text) and writes the result to
// the trace log, whether logging is switched on or not; no line end is added. Takes one wide ring
// string, also when no trace log is open. A format that fails, a result of 512000 characters or
// more, and one of 1024 or more that there is no memory for, write nothing and take none.
// REQUIRES: format is not null, and the arguments are of the types that it names.
ZTK_API void ZTKTrace(const wchar_t* format, ...) noexcept;

// Shows a modal message box with expression, file and line when condition is 0, and returns when
// the user has dismissed it; nothing else happens. A message of more than 519 characters, of which
// the words around expression, file name and line number take 13, ends the process: keep
// expressions and file names short. On Linux the box goes to standard error unless the host
// installs a handler, see SetMessageBoxHandler in ztk/platform/posix/winuser.h.
ZTK_API void ZTKAssert(int condition, wchar_t* expression, wchar_t* file, int line) noexcept;
