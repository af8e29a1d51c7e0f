// Makes an event of what the system tells by waitid.
#include "target/ptrace_waiter.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace example {

namespace {

// The only means to end a waitid whose children say nothing. By default this signal does nothing,
// so that nobody is hurt who gets it by mistake.
constexpr int kWakingSignal = SIGURG;

void DoNothing(int) {}

// Without SA_RESTART: the signal is to end the call.
void PrepareWakingSignal() {
    struct sigaction action {};
    action.sa_handler = DoNothing;
    (void)sigaction(kWakingSignal, &action, nullptr);  // cannot fail for a valid signal
}

}  // namespace

StopWaiter::StopWaiter() {
    events_.CreateEventW(0, kNoticed, nullptr, false);
    events_.CreateEventW(0, kLookAgain, nullptr, false);
}

StopWaiter::~StopWaiter() {
    ending_ = true;
    LookAgain();
    // A signal that comes just before the call has no effect, so that one may not be enough.
    while (thread_ != nullptr && WaitForSingleObject(thread_, 10) == WAIT_TIMEOUT) {
        LookAgain();
        if (const pid_t id = system_id_; id != 0) {
            (void)syscall(SYS_tgkill, getpid(), id, kWakingSignal);  // fails when it has ended
        }
    }
    CloseHandle(thread_);
    events_.CloseAll();
}

bool StopWaiter::Start() {
    if (events_.GetHandle(kNoticed) == nullptr || events_.GetHandle(kLookAgain) == nullptr) {
        return false;
    }
    PrepareWakingSignal();
    thread_ = CreateThread(nullptr, 0, Thread, this, 0, nullptr);
    return thread_ != nullptr;
}

DWORD WINAPI StopWaiter::Thread(void* waiter) {
    static_cast<StopWaiter*>(waiter)->WaitAndTell();
    return 0;
}

void StopWaiter::WaitAndTell() {
    system_id_ = gettid();
    while (!ending_) {
        siginfo_t about{};
        if (waitid(P_ALL, 0, &about, WEXITED | WSTOPPED | WNOWAIT | __WALL) == 0) {
            events_.Signal(kNoticed);
        } else if (errno == EINTR) {
            continue;
        }  // else there is nobody to wait for
        (void)events_.Wait(1U << kLookAgain, -1);
    }
}

}  // namespace example
