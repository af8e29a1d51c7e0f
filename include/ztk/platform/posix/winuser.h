// The message box.
//
// Thread-safety: every function may be called from any thread. Boxes of several threads are not
// shown one after another: a handler is called by all of them, and on standard error each box is
// written at once.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

inline constexpr UINT MB_OK = 0;  // a style; without a handler no style has an effect
inline constexpr int IDOK = 1;    // acknowledged

// Shows caption and text and waits until the user acknowledges. Without a handler both are written
// to standard error in UTF-8, a line each, and the call waits for Enter or the end of the input if
// standard input is a terminal, else it returns at once. A null caption reads "Error", a null text
// is empty; a line that there is no memory for is left out. owner and style are passed to the
// handler only. Returns IDOK, also when nobody could be shown anything, or the handler's result.
// The last error stays as it was.
ZTK_API int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style) noexcept;

// Called with the arguments of MessageBoxW, on the thread that called it, with no lock of the
// library held; its result becomes that of MessageBoxW. The texts belong to the caller and are
// valid until it returns. REQUIRES: it throws nothing.
using MessageBoxHandler = int (*)(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style);

// Routes every message box of this process to handler (a GUI's own box, a test's recorder); null
// brings back standard error. Returns the handler that was installed before, or null. A handler may
// still be running for a call that began before it was replaced.
ZTK_API MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::IDOK;
using ZTKPosix::MB_OK;
using ZTKPosix::MessageBoxW;
