// The message box.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

inline constexpr UINT MB_OK = 0;
inline constexpr int IDOK = 1;

// Shows caption and text and waits until the user acknowledges. Without a handler both are written
// to standard error in UTF-8, and the call waits for Enter if standard input is a terminal, else it
// returns at once. owner and style are passed to the handler only. Returns IDOK, or the handler's
// result.
ZTK_API int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style) noexcept;

using MessageBoxHandler = int (*)(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style);

// Routes every message box of this process to handler (a GUI's own box, a test's recorder); null
// brings back standard error. Returns the handler that was installed before. Safe from any thread;
// a handler may still be running for a call that began before it was replaced.
ZTK_API MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::IDOK;
using ZTKPosix::MB_OK;
using ZTKPosix::MessageBoxW;
