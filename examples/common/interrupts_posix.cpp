// Ctrl-C and the wish that the program ends: signals, taken by a thread that does nothing else.
#include "common/interrupts.h"

#include <atomic>
#include <csignal>
#include <thread>

namespace example {

namespace {

sigset_t WatchedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

}  // namespace

// A handler could do next to nothing: it runs in the middle of whatever a thread is doing. Blocked
// signals wait until a thread asks for them, and that thread may do anything.
class Interrupts::Watch {
  public:
    Watch(HANDLE interrupted, HANDLE end_requested) : signals_(WatchedSignals()) {
        // A reader of our output that goes away, as by the same Ctrl-C, must not end us either.
        sigset_t blocked = signals_;
        sigaddset(&blocked, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &blocked, nullptr);  // cannot fail: the arguments are valid
        thread_ = std::thread([this, interrupted, end_requested] {
            int signal = 0;
            while (sigwait(&signals_, &signal) == 0 && !stopping_) {
                SetEvent(signal == SIGINT ? interrupted : end_requested);
            }
        });
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // The signals stay blocked: one that comes now finds a program that is about to end.
    ~Watch() {
        stopping_ = true;
        // Blocked, it ends nothing but the wait; the thread is there until it is joined.
        // NOLINTNEXTLINE(bugprone-bad-signal-to-kill-thread)
        pthread_kill(thread_.native_handle(), SIGTERM);
        thread_.join();
    }

  private:
    const sigset_t signals_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

Interrupts::Interrupts()
    : interrupted_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      end_requested_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      watch_(std::make_unique<Watch>(interrupted_, end_requested_)) {}

Interrupts::~Interrupts() {
    watch_.reset();
    CloseHandle(end_requested_);
    CloseHandle(interrupted_);
}

}  // namespace example
