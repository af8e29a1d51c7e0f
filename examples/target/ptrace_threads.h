// The threads that this thread traces, and what the system is asked to do with them.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <map>
#include <optional>
#include <vector>

#include "target/target.h"

namespace example {

struct TracedThread {
    pid_t id = 0;

    // It stands still in a stop that it has told us of. Else it runs, or it dies: a SIGKILL can
    // take it out of any stop, which shows in system calls that fail with ESRCH, and then in its
    // end.
    bool stopped = false;

    // It is waited for in vain when all are to stop: it has ended, and the system keeps what is
    // left of the first thread until all others have ended, too.
    bool has_ended = false;

    // Nobody has dealt yet with what stopped it.
    bool is_news = false;

    int status = 0;               // of its last stop, as waitpid gives it
    int signal = 0;               // to be delivered when it goes on
    std::optional<Address> hit;   // it was stopped by our breakpoint there
    std::optional<Address> seen;  // the user has seen it stopped there
};

// The event of PTRACE_EVENT_..., 0 for a signal; and the signal.
int EventOf(int status);
int SignalOf(int status);

// Whether a thread stands still because its process was stopped by SIGSTOP or the like.
bool IsGroupStop(int status);

// Requests may fail at any time because the thread was killed, which is a normal result: its end is
// told soon.
//
// Thread-safety: all calls come from one thread, which is the tracer.
class TracedThreads {
  public:
    // Takes control of a thread, without stopping it. False with errno set.
    bool Seize(pid_t id, bool kill_with_us);

    // One that the system has put under our control: a new thread of one that is.
    TracedThread& Add(pid_t id);

    void Remove(pid_t id) { threads_.erase(id); }
    void Clear() { threads_.clear(); }

    [[nodiscard]] TracedThread* Find(pid_t id);
    [[nodiscard]] std::map<pid_t, TracedThread>& All() { return threads_; }

    // One that has not ended, of which /proc tells what all of them share; 0 when there is none.
    [[nodiscard]] pid_t Living() const;

    [[nodiscard]] bool IsEmpty() const { return threads_.empty(); }

    // Asks all running ones to stop; the stop is told as any other.
    void InterruptAll();
    [[nodiscard]] bool AllStopped() const;

    // Has a stopped thread go on, by one instruction or freely, and delivers its signal.
    void Resume(TracedThread& thread, bool one_instruction);

    // Gives up control of a stopped thread, and delivers its signal.
    static void Release(const TracedThread& thread);

    // Whether a stopped thread has met a breakpoint, or the end of a step, of which it could not
    // tell yet because it was asked to stop just then. Let go like this, it would die of it.
    static bool HasTrapToTell(pid_t id);

    // What the signal of a stopped thread says. False when there is nothing.
    static bool SignalInfo(pid_t id, siginfo_t* info);

    // The thread or process that an event is about; 0 when the thread is gone.
    static pid_t SubjectOf(pid_t id);

  private:
    std::map<pid_t, TracedThread> threads_;
};

}  // namespace example
