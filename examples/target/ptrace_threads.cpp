// The threads that this thread traces.
#include "target/ptrace_threads.h"

#include <sys/ptrace.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "target/proc_files.h"

namespace example {

namespace {

constexpr int kOptions = PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                         PTRACE_O_TRACEVFORKDONE | PTRACE_O_TRACEEXEC;

// Numbers stand where ptrace has pointers.
void* AsPointer(int number) {
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(number));
}

}  // namespace

int EventOf(int status) {
    return status >> 16;
}

int SignalOf(int status) {
    return WSTOPSIG(status);
}

bool IsGroupStop(int status) {
    return EventOf(status) == PTRACE_EVENT_STOP && SignalOf(status) != SIGTRAP;
}

bool TracedThreads::Seize(pid_t id, bool kill_with_us) {
    const int options = kOptions | (kill_with_us ? PTRACE_O_EXITKILL : 0);
    if (ptrace(PTRACE_SEIZE, id, nullptr, AsPointer(options)) != 0) {
        return false;
    }
    Add(id);
    return true;
}

TracedThread& TracedThreads::Add(pid_t id) {
    TracedThread& thread = threads_[id];
    thread.id = id;
    return thread;
}

TracedThread* TracedThreads::Find(pid_t id) {
    const auto found = threads_.find(id);
    return found == threads_.end() ? nullptr : &found->second;
}

pid_t TracedThreads::Living() const {
    const auto found = std::find_if(threads_.begin(), threads_.end(),
                                    [](const auto& entry) { return !HasEnded(entry.first); });
    return found == threads_.end() ? 0 : found->first;
}

void TracedThreads::InterruptAll() {
    for (auto& [id, thread] : threads_) {
        if (!thread.stopped && !thread.has_ended) {
            (void)ptrace(PTRACE_INTERRUPT, id, nullptr, nullptr);  // fails if it was killed
        }
    }
}

bool TracedThreads::AllStopped() const {
    return std::all_of(threads_.begin(), threads_.end(), [](const auto& entry) {
        return entry.second.stopped || entry.second.has_ended;
    });
}

// A thread in a group stop stays in it until SIGCONT, as it would without us: LISTEN.
void TracedThreads::Resume(TracedThread& thread, bool one_instruction) {
    thread.stopped = false;
    thread.is_news = false;
    thread.hit.reset();
    thread.seen.reset();
    if (IsGroupStop(thread.status) &&
        (ptrace(PTRACE_LISTEN, thread.id, nullptr, nullptr) == 0 || errno == ESRCH)) {
        return;
    }
    const auto request = one_instruction ? PTRACE_SINGLESTEP : PTRACE_CONT;
    (void)ptrace(request, thread.id, nullptr, AsPointer(thread.signal));  // fails if it was killed
    thread.signal = 0;
}

void TracedThreads::Release(const TracedThread& thread) {
    (void)ptrace(PTRACE_DETACH, thread.id, nullptr, AsPointer(thread.signal));  // as above
}

bool TracedThreads::HasTrapToTell(pid_t id) {
    constexpr int kMost = 16;
    siginfo_t waiting[kMost];
    __ptrace_peeksiginfo_args from_first = {0, 0, kMost};
    const long count = ptrace(PTRACE_PEEKSIGINFO, id, &from_first, waiting);
    return std::any_of(waiting, waiting + std::max(count, 0L), [](const siginfo_t& info) {
        return info.si_signo == SIGTRAP && info.si_code > 0;
    });
}

bool TracedThreads::SignalInfo(pid_t id, siginfo_t* info) {
    return ptrace(PTRACE_GETSIGINFO, id, nullptr, info) == 0;
}

pid_t TracedThreads::SubjectOf(pid_t id) {
    unsigned long subject = 0;
    return ptrace(PTRACE_GETEVENTMSG, id, nullptr, &subject) == 0 ? static_cast<pid_t>(subject) : 0;
}

}  // namespace example
