// Taking control of a process, and giving it up.
#include "target/ptrace_debuggee.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include "target/proc_files.h"
#include "target/ptrace_permission.h"
#include "target/ptrace_text.h"

namespace example {

namespace {

// How long what the system does at once may take on a machine with too much to do. In milliseconds.
constexpr int kSoon = 3000;

// How long a program may take to load its libraries.
constexpr int kStartTime = 10000;

std::string WhyExecFailed(const std::string& name, int error) {
    switch (error) {
        case EACCES:
            return name + " is not executable";
        case ENOEXEC:
            return name + " is no program for this system";
        case ENOENT:
            return name + " needs a loader or interpreter that is not there";
        default:
            return name + " cannot be run: " + SystemText(error);
    }
}

std::string HowItEnded(const Event& end) {
    return end.reason == "exit"     ? "with exit code " + std::to_string(end.code)
           : end.reason == "signal" ? "by " + SignalName(static_cast<int>(end.code))
                                    : "because it was killed";
}

}  // namespace

Debuggee::~Debuggee() {
    std::string problem;
    if (kind_ == State::Kind::kNone) {
        return;
    }
    if (launched_) {
        (void)Kill(&problem);
    } else {
        (void)Detach(false, &problem);  // what does not stop goes on when the tracer ends
    }
}

State Debuggee::GetState() const {
    State state;
    state.kind = kind_;
    state.process = static_cast<std::uint64_t>(process_);
    if (kind_ == State::Kind::kStopped) {
        state.stop = stop_;
    }
    if (kind_ == State::Kind::kNone) {
        state.problem = (problem_.empty() ? "" : problem_ + "; ") +
                        "there is no debuggee: launch or attach one";
    }
    return state;
}

bool Debuggee::HasNoDebuggee(std::string* problem) const {
    if (kind_ == State::Kind::kNone) {
        return true;
    }
    return Fail(problem, "process " + std::to_string(process_) +
                             " is the debuggee already: detach or kill it first");
}

// Deals with what happens until done() or the time is up. Returns done().
bool Debuggee::WaitUntil(const std::function<bool()>& done, int milliseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        OnNotice();
        if (done()) {
            return true;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              end - std::chrono::steady_clock::now())
                              .count();
        if (left <= 0) {
            return false;
        }
        const int step_left = Timeout() < 0 ? INT_MAX : Timeout();
        if (!waiter_->Wait(std::min(static_cast<int>(left), step_left))) {
            OnTime();
        }
    }
}

// --- Launch

bool Debuggee::Launch(const std::vector<std::string>& command_line, std::string* problem) {
    std::string path;
    if (!RegistersAreKnown(problem) || !HasNoDebuggee(problem) ||
        !FindProgram(command_line.front(), &path, problem)) {
        return false;
    }
    output_.reset();  // what an earlier debuggee, let go, may still write
    output_ = std::make_unique<OutputReader>(sink_);
    launch_ = std::make_unique<LaunchedProcess>();
    starting_ = true;
    const bool launched =
        StartProgram(command_line, path, problem) && RunToEntry(command_line.front(), problem);
    starting_ = false;
    launch_.reset();
    if (!launched && kind_ != State::Kind::kNone) {
        std::string ignored;
        (void)Kill(&ignored);  // the first problem is the one to tell
    }
    return launched;
}

// Makes the process and takes control of it before it is the program.
bool Debuggee::StartProgram(const std::vector<std::string>& command_line, const std::string& path,
                            std::string* problem) {
    if (!output_->Open() || !launch_->Start(path, command_line, output_->WritingEnd())) {
        return Fail(problem, "there is no process for " + path + ": " + SystemText(errno));
    }
    output_->CloseWritingEnd();
    const pid_t process = launch_->Id();
    if (!threads_.Seize(process, true)) {
        const int error = errno;
        kill(process, SIGKILL);
        waiter_->LookAgain();  // its end is taken like everybody's
        return Fail(problem, WhyNotControlled(process, error));
    }
    process_ = process;
    kind_ = State::Kind::kRunning;
    launched_ = true;
    killing_ = false;
    exec_done_ = false;
    breakpoints_.Reset();
    modules_.Clear();
    waiter_->LookAgain();
    if (!output_->Start(static_cast<std::uint64_t>(process))) {
        return Fail(problem, "there is no thread to read what the debuggee writes");
    }
    return true;
}

// Two stops on the way: the exec, at which StopAtEntry is called, and the entry point.
bool Debuggee::RunToEntry(const std::string& name, std::string* problem) {
    const auto is_over = [this] { return kind_ != State::Kind::kRunning; };
    launch_->Proceed();
    if (!WaitUntil(is_over, kStartTime)) {
        (void)Interrupt(problem);  // it takes its time: then stop it where it is
    }
    if (kind_ == State::Kind::kStopped) {
        return true;
    }
    if (const int error = exec_done_ ? 0 : launch_->Failure(); error != 0) {
        return Fail(problem, WhyExecFailed(name, error));
    }
    return Fail(problem, name + " died at start: " + problem_);
}

// The program is loaded, but not its libraries: the loader runs first. A breakpoint of our own
// stops it when that is done.
void Debuggee::StopAtEntry() {
    exec_done_ = true;
    int number = 0;
    std::string problem;
    const State::Kind kind = std::exchange(kind_, State::Kind::kStopped);
    (void)SetBreakpoint(EntryPoint(process_), &number, &problem);  // else it runs on
    kind_ = kind;
}

// The first stop, which is that breakpoint's unless something else has come before it.
void Debuggee::TakeOutEntry(Event* stop) {
    for (const BreakpointTable::Entry* entry : breakpoints_.All()) {
        (void)memory_.Write(entry->address, &entry->displaced, 1);  // fails if it was killed
    }
    breakpoints_.Reset();
    stop->breakpoint = 0;
    if (stop->reason == "breakpoint" || stop->reason == "interrupt") {
        stop->reason = "launched";
    }
}

// --- Attach

bool Debuggee::Attach(std::uint64_t number, std::string* problem) {
    if (!RegistersAreKnown(problem) || !HasNoDebuggee(problem)) {
        return false;
    }
    const auto process = static_cast<pid_t>(std::min<std::uint64_t>(number, INT_MAX));
    if (!MayBeAttached(process, problem)) {
        return false;
    }
    starting_ = true;
    const bool attached = SeizeAllThreads(process, problem) && StopFirst(process, problem);
    starting_ = false;
    return attached;
}

bool Debuggee::StopFirst(pid_t process, std::string* problem) {
    kind_ = State::Kind::kRunning;
    process_ = process;
    launched_ = false;
    killing_ = false;
    breakpoints_.Reset();
    modules_.Clear();
    (void)StopAll();
    (void)memory_.Open(threads_.Living());  // without it, memory cannot be read, which is told then
    if (kind_ != State::Kind::kNone) {
        Event stop;
        stop.reason = "attached";
        const pid_t living = threads_.Living();  // the first one may have ended before the others
        ReportStop(living != 0 ? living : threads_.All().begin()->first, stop);
    }
    return kind_ == State::Kind::kStopped ||
           Fail(problem, "process " + std::to_string(process) + " ended while it was attached to");
}

// Threads start others all the time. Those of threads that are ours are ours, too, so that at some
// time no new one is found.
bool Debuggee::SeizeAllThreads(pid_t process, std::string* problem) {
    process_ = process;
    bool found_some = true;
    int error = 0;
    while (found_some && SeizeNewThreads(&found_some, &error)) {
        threads_.InterruptAll();
    }
    waiter_->LookAgain();
    if (error == 0 && !threads_.IsEmpty()) {
        return true;
    }
    kind_ = State::Kind::kRunning;
    launched_ = false;
    if (!threads_.IsEmpty()) {
        (void)StopAll();
        LetGo();
    }
    Forget("");
    return Fail(problem, error != 0 ? WhyNotControlled(process, error)
                                    : "process " + std::to_string(process) + " has ended");
}

bool Debuggee::SeizeNewThreads(bool* found_some, int* error) {
    *found_some = false;
    for (const pid_t id : ThreadsOf(process_)) {
        if (threads_.Find(id) != nullptr) {
            continue;
        }
        const int failure = threads_.Seize(id, false) ? 0 : errno;
        if (failure == 0) {
            *found_some = true;
        } else if (TracerOf(id) == gettid()) {
            threads_.Add(id);  // the system was faster: its stop is on the way
            *found_some = true;
        } else if (!HasEnded(id)) {
            *error = failure;
            return false;
        }
    }
    return true;
}

// --- Giving up control

bool Debuggee::Detach(bool leave_stopped, std::string* problem) {
    if (!IsControlled(problem)) {
        return false;
    }
    const bool was_running = kind_ == State::Kind::kRunning;
    const bool all_stopped = StopAll();
    if (kind_ == State::Kind::kNone) {
        return Fail(problem, problem_);
    }
    if (!all_stopped) {
        if (was_running && DealWithNews()) {
            GoOn();
        }
        return Fail(problem, "a thread of process " + std::to_string(process_) +
                                 " does not stop, it waits in the system: try again later");
    }
    // Before it is let go: while all threads stand still, a process that is stopped executes
    // nothing.
    if (leave_stopped) {
        kill(process_, SIGSTOP);
    }
    Event event;
    event.kind = Event::Kind::kDetached;
    event.process = static_cast<std::uint64_t>(process_);
    LetGo();
    if (kind_ == State::Kind::kNone) {
        return Fail(problem, problem_);
    }
    if (output_ != nullptr) {
        output_->Drain(false);
    }
    Forget("process " + std::to_string(event.process) + " was let go");
    sink_->OnEvent(event);
    return true;
}

// All threads are stopped, as far as they can be. Nothing of ours stays behind: neither
// breakpoints, nor a thread behind one's instruction (Record has set it back), nor a signal that we
// held.
void Debuggee::LetGo() {
    EndStep();
    // Children of a fork have breakpoints in their memory as well.
    for (int i = 0; i < kSoon / 100 && !newborn_.empty(); ++i) {
        (void)waiter_->Wait(100);
        TakeStatuses();
    }
    for (BreakpointTable::Entry* entry : breakpoints_.All()) {
        if (entry->in_memory) {
            (void)memory_.Write(entry->address, &entry->displaced, 1);  // fails if it was killed
        }
    }
    for (const auto& [id, thread] : threads_.All()) {
        TracedThreads::Release(thread);
    }
    waiter_->LookAgain();
}

void Debuggee::Forget(const std::string& why) {
    kind_ = State::Kind::kNone;
    problem_ = why;
    process_ = 0;
    threads_.Clear();
    step_.reset();
    vforking_.clear();
    newborn_.clear();
    memory_.Close();
    breakpoints_.Clear();
    modules_.Clear();
}

bool Debuggee::Kill(std::string* problem) {
    if (!IsControlled(problem)) {
        return false;
    }
    const pid_t process = process_;
    killing_ = true;
    kill(process, SIGKILL);
    if (!WaitUntil([this] { return kind_ == State::Kind::kNone; }, kSoon)) {
        return Fail(problem, "process " + std::to_string(process) +
                                 " was told to end, but waits in the system");
    }
    return true;
}

void Debuggee::ReportEnd(int status) {
    Event event;
    event.kind = Event::Kind::kExited;
    event.process = static_cast<std::uint64_t>(process_);
    const bool by_signal = WIFSIGNALED(status);
    event.reason = !by_signal ? "exit" : killing_ ? "killed" : "signal";
    event.code = by_signal ? WTERMSIG(status) : WEXITSTATUS(status);
    if (output_ != nullptr && launched_) {
        output_->Drain(true);
    }
    if (starting_) {  // the answer to the launch tells it
        Forget("it ended " + HowItEnded(event));
        return;
    }
    Forget("process " + std::to_string(event.process) + " ended " + HowItEnded(event));
    sink_->OnEvent(event);
}

}  // namespace example
