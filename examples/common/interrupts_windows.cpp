// Ctrl-C and the wish that the program ends: the console tells of both, on a thread of the
// system's.
#include "common/interrupts.h"

namespace example {

namespace {

// The system passes its handler no argument of ours. Set as long as an Interrupts lives.
HANDLE interrupted_event = nullptr;
HANDLE end_requested_event = nullptr;

// When a console is closed, a user logs off or the system stops, the process ends as soon as the
// handler returns, or some seconds later. Its main thread is given that time to clean up; the
// process ends by itself when it has.
BOOL WINAPI OnConsoleEvent(DWORD event) {
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        SetEvent(interrupted_event);
        return TRUE;
    }
    SetEvent(end_requested_event);
    Sleep(INFINITE);
    return TRUE;
}

}  // namespace

class Interrupts::Watch {};

Interrupts::Interrupts()
    : interrupted_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      end_requested_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    interrupted_event = interrupted_;
    end_requested_event = end_requested_;
    (void)SetConsoleCtrlHandler(OnConsoleEvent, TRUE);  // fails without a console: nothing comes
}

// A handler that runs already may still set the events, so their handles stay: the program is
// about to end.
Interrupts::~Interrupts() {
    (void)SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
}

}  // namespace example
