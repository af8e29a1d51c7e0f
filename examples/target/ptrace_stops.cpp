// What the stops of single threads mean.
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "target/proc_files.h"
#include "target/ptrace_debuggee.h"
#include "target/ptrace_text.h"

namespace example {

namespace {

// The signals of faults: they stop the debuggee, and are delivered when it goes on.
constexpr int kFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

bool IsFault(int signal) {
    return std::find(std::begin(kFaults), std::end(kFaults), signal) != std::end(kFaults);
}

// Sent by a process, and not the system's word for what an instruction did.
bool IsSent(const siginfo_t& info) {
    return info.si_code <= 0;
}

// The kernel's own mark of the breakpoint instruction; steps have others.
bool IsBreakpointInstruction(const siginfo_t& info) {
    return info.si_signo == SIGTRAP && info.si_code == SI_KERNEL;
}

std::string DescribeFault(int signal, const siginfo_t& info) {
    if (IsSent(info)) {
        return SignalName(signal) + " sent by process " + std::to_string(info.si_pid);
    }
    return SignalName(signal) + " at " + Hex(reinterpret_cast<std::uintptr_t>(info.si_addr));
}

}  // namespace

// Takes all that the system has to tell now. Also what is no business of ours, such as the end of a
// child that was let go: what is not taken would be told again and again.
void Debuggee::TakeStatuses() {
    for (;;) {
        int status = 0;
        const pid_t id = waitpid(-1, &status, __WALL | WUNTRACED | WNOHANG);
        if (id > 0) {
            Record(id, status);
        } else if (id == 0 || errno != EINTR) {
            break;
        }
    }
    waiter_->LookAgain();
}

void Debuggee::Record(pid_t id, int status) {
    newborn_.erase(id);
    TracedThread* thread = threads_.Find(id);
    if (!WIFSTOPPED(status)) {
        if (thread != nullptr) {
            RecordEnd(id, status);
        }
        return;
    }
    if (thread == nullptr && TracerOf(id) == gettid()) {
        if (process_ == 0 || !HasThread(process_, id)) {
            ReleaseChild(id);
            return;
        }
        thread = Adopt(id);
    }
    if (thread != nullptr) {
        RecordStop(*thread, status);
    }
}

// A thread that one of ours has started. Its first stop comes before its first instruction.
TracedThread* Debuggee::Adopt(pid_t id) {
    TracedThread& thread = threads_.Add(id);
    ReportThread(Event::Kind::kThreadStarted, id);
    return &thread;
}

// What the debuggee forks is not followed. Its memory is a copy, with our breakpoints in it, which
// would kill it when nobody is there to deal with them.
void Debuggee::ReleaseChild(pid_t child) {
    ProcessMemory memory;
    if (memory.Open(child)) {
        for (const BreakpointTable::Entry* entry : breakpoints_.All()) {
            if (entry->in_memory) {
                (void)memory.Write(entry->address, &entry->displaced, 1);  // fails if it was killed
            }
        }
    }
    TracedThread thread;
    thread.id = child;
    TracedThreads::Release(thread);
}

void Debuggee::RecordStop(TracedThread& thread, int status) {
    thread.stopped = true;
    thread.has_ended = false;  // as it seemed: an exec gives its number to the thread that does it
    thread.is_news = true;
    thread.status = status;
    thread.signal = 0;
    switch (EventOf(status)) {
        case 0:
            RecordSignal(thread);
            break;
        case PTRACE_EVENT_CLONE:
        case PTRACE_EVENT_FORK:
            RecordFork(TracedThreads::SubjectOf(thread.id), false, thread.id);
            break;
        case PTRACE_EVENT_VFORK:
            RecordFork(TracedThreads::SubjectOf(thread.id), true, thread.id);
            break;
        case PTRACE_EVENT_VFORK_DONE:
            vforking_.erase(thread.id);
            (void)ArrangeBreakpoints();  // fails if it was killed
            break;
        case PTRACE_EVENT_EXEC:
            RecordExec(thread.id);
            break;
        case PTRACE_EVENT_STOP:
            if (TracedThreads::HasTrapToTell(thread.id)) {
                // It tells of it at once, before it executes anything.
                thread.status = 0;  // no group stop, for which Resume would do something else
                threads_.Resume(thread, false);
            }
            break;
        default:
            break;
    }
}

// A thread that hit a breakpoint stands behind its instruction, which nobody is to see: it is set
// back at once. So it does the right thing whatever becomes of it: it hits the breakpoint again if
// it goes on, and goes on in its own code if the breakpoint is gone.
void Debuggee::RecordSignal(TracedThread& thread) {
    const int signal = SignalOf(thread.status);
    siginfo_t info{};
    if (!TracedThreads::SignalInfo(thread.id, &info)) {
        return;  // it was killed, or stands at the end of a step into a signal's handler
    }
    if (signal != SIGTRAP || IsSent(info)) {
        thread.signal = signal;
        return;
    }
    ThreadRegisters registers;
    if (!IsBreakpointInstruction(info) || !registers.Read(thread.id)) {
        return;
    }
    const Address address = registers.Next() - 1;
    unsigned char instruction = 0;
    const bool is_ours = breakpoints_.FindAt(address) != nullptr;
    // If there is no such instruction now, it was one of ours that has been deleted since.
    const bool was_ours =
        memory_.Read(address, &instruction, 1) == 1 && instruction != BreakpointTable::kInstruction;
    if (is_ours || was_ours) {
        registers.SetNext(address);
        (void)registers.Write(thread.id);  // fails if it was killed
        thread.hit = address;
    }
}

// The new process or thread is under our control already, and tells of it by a stop of its own,
// which may come before or after this one. A child of vfork uses its parent's memory, so that there
// must be no breakpoints in it before the child runs.
void Debuggee::RecordFork(pid_t child, bool is_vfork, pid_t parent) {
    if (child != 0 && threads_.Find(child) == nullptr && TracerOf(child) == gettid()) {
        newborn_.insert(child);
    }
    if (is_vfork) {
        vforking_.insert(parent);
        (void)ArrangeBreakpoints();  // fails if it was killed
    }
}

// The process is another program now, of one thread: breakpoints and all that was known are gone
// with the old one.
void Debuggee::RecordExec(pid_t id) {
    std::vector<pid_t> others;
    for (const auto& [other, thread] : threads_.All()) {
        if (other != id) {
            others.push_back(other);
        }
    }
    for (const pid_t other : others) {
        threads_.Remove(other);
        ReportThread(Event::Kind::kThreadEnded, other);
    }
    step_.reset();
    vforking_.clear();
    breakpoints_.Clear();
    modules_.Clear();
    (void)memory_.Open(process_);  // without it, memory cannot be read, which is told then
    if (launch_ != nullptr) {
        StopAtEntry();
    }
}

void Debuggee::RecordEnd(pid_t id, int status) {
    threads_.Remove(id);
    if (threads_.IsEmpty()) {
        ReportEnd(status);
        return;
    }
    ReportThread(Event::Kind::kThreadEnded, id);
    vforking_.erase(id);
    if (step_ && step_->thread == id) {
        EndStep();
    } else {
        (void)ArrangeBreakpoints();  // fails if it was killed
    }
}

// Looks at the threads that have stopped. False when that has stopped the debuggee.
bool Debuggee::DealWithNews() {
    for (auto& [id, thread] : threads_.All()) {
        if (!thread.stopped || !thread.is_news) {
            continue;
        }
        thread.is_news = false;
        if (Event stop; StopsAll(thread, &stop)) {
            ReportStop(id, stop);
            return false;
        }
    }
    return true;
}

// Whether all threads are to stop because of this one's stop; *stop then says why.
bool Debuggee::StopsAll(TracedThread& thread, Event* stop) {
    if (EventOf(thread.status) != 0) {
        return false;
    }
    const int signal = SignalOf(thread.status);
    if (signal == SIGTRAP && thread.signal == 0) {
        return TrapStopsAll(thread, stop);
    }
    siginfo_t info{};
    const bool known = TracedThreads::SignalInfo(thread.id, &info);
    if (IsFault(signal)) {
        stop->reason = "fault";
        stop->text = known ? DescribeFault(signal, info) : SignalName(signal);
        return true;
    }
    // Getting over a breakpoint must not end in the handler of a signal: it comes afterwards.
    if (known && step_ && step_->thread == thread.id && !step_->for_user) {
        step_->held.push_back(info);
        thread.signal = 0;
    }
    return false;
}

bool Debuggee::TrapStopsAll(TracedThread& thread, Event* stop) {
    if (thread.hit) {
        const BreakpointTable::Entry* entry = breakpoints_.FindAt(*thread.hit);
        if (entry != nullptr) {
            stop->reason = "breakpoint";
            stop->breakpoint = entry->number;
        }
        return entry != nullptr;
    }
    siginfo_t info{};
    if (TracedThreads::SignalInfo(thread.id, &info) && IsBreakpointInstruction(info)) {
        stop->reason = "signal";  // an instruction of the program's own
        stop->text = SignalName(SIGTRAP);
        return true;
    }
    if (!step_ || step_->thread != thread.id) {
        return false;  // the end of a step that is not waited for any more
    }
    const bool for_user = step_->for_user;
    EndStep();
    stop->reason = "step";
    return for_user;
}

// Stops all threads, and tells that the debuggee has stopped because of this one.
void Debuggee::ReportStop(pid_t id, Event stop) {
    (void)StopAll();  // what does not stop in time has no registers to show
    TracedThread* thread = threads_.Find(id);
    if (thread == nullptr) {
        return;  // it was killed, and all others are, too
    }
    EndStep();
    for (auto& [other, one] : threads_.All()) {
        if (one.hit) {
            one.is_news = false;  // it hits the breakpoint again, and then it is its turn
        }
    }
    ThreadRegisters registers;
    if (registers.Read(id)) {
        stop.address = registers.Next();
        thread->seen = stop.address;
    }
    if (launch_ != nullptr) {
        TakeOutEntry(&stop);
    }
    ReportModules();
    if (output_ != nullptr) {
        output_->Drain(false);
    }
    stop.kind = Event::Kind::kStopped;
    stop.process = static_cast<std::uint64_t>(process_);
    stop.thread = static_cast<std::uint64_t>(id);
    stop.symbol = modules_.Describe(stop.address);
    kind_ = State::Kind::kStopped;
    stop_ = stop;
    sink_->OnEvent(stop);
}

// What has been loaded since the last stop. What is there at the first one is no news.
void Debuggee::ReportModules() {
    for (const Module& module : modules_.Refresh(threads_.Living())) {
        Event event;
        event.kind = Event::Kind::kModuleLoaded;
        event.process = static_cast<std::uint64_t>(process_);
        event.address = module.start;
        event.text = module.path;
        if (!starting_) {
            sink_->OnEvent(event);
        }
    }
}

void Debuggee::ReportThread(Event::Kind kind, pid_t thread) {
    if (starting_) {
        return;
    }
    Event event;
    event.kind = kind;
    event.process = static_cast<std::uint64_t>(process_);
    event.thread = static_cast<std::uint64_t>(thread);
    sink_->OnEvent(event);
}

}  // namespace example
