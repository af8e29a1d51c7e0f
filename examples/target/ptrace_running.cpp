// Has the debuggee go on, and stops it.
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "target/proc_files.h"
#include "target/ptrace_debuggee.h"
#include "target/ptrace_text.h"

namespace example {

namespace {

// A thread gets over a breakpoint at once, unless the instruction there is a system call that
// waits; perhaps for another thread, which stands still meanwhile. After this time all go on.
// Milliseconds.
constexpr int kStepTime = 100;

// How long threads may take to stop: they do so at once unless they wait in the system for what
// cannot be interrupted. The slice is how long nobody looks for threads that have ended.
constexpr int kSlice = 50;
constexpr int kMostSlices = 40;

// Sends a signal again that was held. The system lets us repeat what it said about the signal only
// if a process had sent it with a value; else it is one of its number.
void SendAgain(pid_t process, pid_t thread, siginfo_t info) {
    if (syscall(SYS_rt_tgsigqueueinfo, process, thread, info.si_signo, &info) != 0) {
        (void)syscall(SYS_tgkill, process, thread, info.si_signo);  // fails if it was killed
    }
}

}  // namespace

void Debuggee::OnNotice() {
    TakeStatuses();
    if (kind_ == State::Kind::kRunning && DealWithNews()) {
        GoOn();
    }
}

int Debuggee::Timeout() const {
    return step_ && !step_->for_user ? kStepTime : -1;
}

void Debuggee::OnTime() {
    if (step_ && !step_->for_user) {
        EndStep();
        GoOn();
    }
}

bool Debuggee::Continue(std::string* problem) {
    if (!IsStopped(problem)) {
        return false;
    }
    kind_ = State::Kind::kRunning;
    if (DealWithNews()) {  // what happened to other threads at the time of the last stop
        GoOn();
    }
    return true;
}

bool Debuggee::Step(ThreadId id, std::string* problem) {
    TracedThread* thread = StoppedThread(id, problem);
    if (thread == nullptr) {
        return false;
    }
    const pid_t number = thread->id;
    kind_ = State::Kind::kRunning;
    if (!DealWithNews()) {
        return true;  // what happened to another thread comes first
    }
    BeginStep(threads_.All()[number], true);
    return true;
}

bool Debuggee::Interrupt(std::string* problem) {
    if (!IsControlled(problem)) {
        return false;
    }
    if (kind_ == State::Kind::kStopped) {
        return Fail(problem, "the debuggee is stopped already");
    }
    (void)StopAll();
    if (kind_ != State::Kind::kRunning || !DealWithNews()) {
        return true;  // it ended, or something else has stopped it meanwhile, which is told
    }
    const auto& all = threads_.All();
    const auto stopped = std::find_if(all.begin(), all.end(),
                                      [](const auto& entry) { return entry.second.stopped; });
    if (stopped == all.end()) {
        return Fail(problem, "no thread of the debuggee stops, they wait in the system");
    }
    Event stop;
    stop.reason = "interrupt";
    ReportStop(stopped->first, stop);
    return true;
}

// Has all go on that stand still and may go on.
void Debuggee::GoOn() {
    auto& all = threads_.All();
    if (!step_) {
        const auto first = std::find_if(all.begin(), all.end(), [this](const auto& entry) {
            return MustStepOver(entry.second);
        });
        if (first != all.end()) {
            BeginStep(first->second, false);
            return;
        }
    }
    for (auto& [id, thread] : all) {
        const bool steps = step_ && step_->thread == id;
        if (thread.stopped && (steps || !step_)) {
            threads_.Resume(thread, steps);
        }
    }
}

// The user has seen it stand at a breakpoint: it is not to hit that one again. A thread whose
// system call is repeated does not execute the instruction there next.
bool Debuggee::MustStepOver(const TracedThread& thread) {
    ThreadRegisters registers;
    return thread.stopped && thread.seen && breakpoints_.FindAt(*thread.seen) != nullptr &&
           registers.Read(thread.id) && registers.Next() == *thread.seen &&
           !registers.RepeatsSystemCall();
}

void Debuggee::BeginStep(TracedThread& thread, bool for_user) {
    step_.emplace();
    step_->thread = thread.id;
    step_->for_user = for_user;
    ThreadRegisters registers;
    if (registers.Read(thread.id)) {
        const BreakpointTable::Entry* entry = breakpoints_.FindAt(registers.Next());
        step_->lifted = entry == nullptr ? 0 : entry->number;
    }
    (void)ArrangeBreakpoints();  // fails if it was killed
    threads_.Resume(thread, true);
}

void Debuggee::EndStep() {
    if (!step_) {
        return;
    }
    const OneStep ended = *std::exchange(step_, std::nullopt);
    (void)ArrangeBreakpoints();  // fails if it was killed
    for (const siginfo_t& info : ended.held) {
        SendAgain(process_, ended.thread, info);
    }
}

// Has all threads stop, and takes note of what they stopped for. False when some do not.
bool Debuggee::StopAll() {
    threads_.InterruptAll();
    for (int i = 0; i < kMostSlices; ++i) {
        TakeStatuses();
        if (threads_.AllStopped()) {
            return true;
        }
        if (waiter_->Wait(kSlice)) {
            continue;
        }
        for (auto& [id, thread] : threads_.All()) {
            thread.has_ended = !thread.stopped && HasEnded(id);
        }
    }
    return threads_.AllStopped();
}

}  // namespace example
