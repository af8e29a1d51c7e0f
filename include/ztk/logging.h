// The trace log, logging and assertions.
//
// There is one output of the library's own, the trace-log file: UTF-16 little-endian with a
// byte-order mark, each line feed written as carriage return and line feed. Texts are written
// exactly as they are passed; nothing is added. With no trace log open, every writer but ZTKAssert
// does nothing visible; but a host can have all texts handed to its own logging, see SetLogHook.
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

// --- Log hook. A host's own logging gets what the library writes.

// What a text that a log hook is handed is.
enum TLogKind : int {
    LogKindTrace = 0,      // written to the trace log, or would be, if one were open
    LogKindAssertion = 1,  // of an assertion that failed; its box follows
};

// Called with each text, on the thread that wrote it, behind its write to the trace log. text is
// what the writer was passed or made of it (a trace's result, a line of hex digits), terminated and
// with its line feed, if it has one; it is valid until the hook returns. context is what SetLogHook
// was given. The last error stays the writer's, whatever the hook does.
//
// What the hook's thread logs or asserts meanwhile goes its usual way, but is not handed to the
// hook. REQUIRES: the hook throws nothing and returns. It may be called on several threads at once,
// and, for texts of the logging functions and for received messages, with the log lock and the
// receiver's lock held. So it takes no lock that a thread may hold while it logs by these
// functions, changes the hook or uses a receiver, and does not wait for such a thread.
using TLogHook = void (*)(void* context, TLogKind kind, const wchar_t* text);

// Has every text that the trace log gets handed to hook, and those of failed assertions, too, also
// while no trace log is open; null ends that. Off until the first call. What reaches the trace log
// and what the assertion shows stay as they are, and the logging functions still hand on nothing
// while logging is off. There is one hook: another takes the place of the one before.
//
// Returns when the hook before it is called no more: it waits for the calls of it on other threads.
// Called from within a hook it does not wait; there, calls on other threads may still end later.
//
// The hook stays as long as the library; a host clears it before what it uses goes. At an unload,
// and at the end of the process, the library itself calls it no more. A child of fork keeps it.
ZTK_API void SetLogHook(TLogHook hook, void* context) noexcept;

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
// expressions and file names short. A log hook is handed the message first. On Linux the box goes
// to standard error unless the host installs a handler, see SetMessageBoxHandler in
// ztk/platform/posix/winuser.h.
ZTK_API void ZTKAssert(int condition, wchar_t* expression, wchar_t* file, int line) noexcept;
