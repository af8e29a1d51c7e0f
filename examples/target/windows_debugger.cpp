// The control of a debuggee by the system's debug events: commands.
#include "target/windows_debugger.h"

#include <algorithm>
#include <utility>

#include "common/format.h"
#include "target/windows_exceptions.h"
#include "target/windows_launch.h"
#include "target/windows_memory.h"
#include "target/windows_text.h"

namespace example {

namespace {

constexpr DWORD kTimeToStart = 20000;  // milliseconds
constexpr DWORD kTimeToBreakIn = 5000;
constexpr DWORD kTimeToEndBreakIn = 500;
constexpr DWORD kTimeToEnd = 10000;
constexpr DWORD kTimeToSettle = 10;
constexpr int kMostEventsAtOnce = 10000;

bool Fail(std::string* problem, std::string sentence) {
    *problem = std::move(sentence);
    return false;
}

// What a transfer that ended too early has to say.
void ExplainPart(std::size_t done, std::size_t count, Address address, const char* what,
                 std::string* problem) {
    if (done < count) {
        *problem = Format("%llu of %llu bytes could be %s, the memory at 0x%llx cannot", Wide(done),
                          Wide(count), what, Wide(address + done));
    }
}

std::string WhyNotAttached(std::uint64_t process, const std::string& why) {
    return Format("cannot attach to process %llu: ", Wide(process)) + why;
}

bool IsOfOtherWidth(HANDLE process) {
    BOOL ours = FALSE;
    BOOL theirs = FALSE;
    return IsWow64Process(GetCurrentProcess(), &ours) && IsWow64Process(process, &theirs) &&
           ours != theirs;
}

// The system would let two debuggers try, and its answer tells little.
std::string WhyNotToControl(HANDLE process) {
    DWORD exit_code = STILL_ACTIVE;
    BOOL controlled = FALSE;
    if (GetExitCodeProcess(process, &exit_code) && exit_code != STILL_ACTIVE) {
        return "it has ended";
    }
    if (CheckRemoteDebuggerPresent(process, &controlled) && controlled) {
        return "it is controlled by another debugger already";
    }
    return IsOfOtherWidth(process) ? "its registers have another width than the agent's" : "";
}

// Makes the calling thread the one that gets the events of a running process.
bool BeginToControl(std::uint64_t process, std::string* problem) {
    if (process == GetCurrentProcessId()) {
        return Fail(problem, WhyNotAttached(process, "this is the agent itself"));
    }
    const bool possible = process <= MAXDWORD;
    const ZTK::COwnedHandle handle(
        possible ? OpenProcess(PROCESS_ALL_ACCESS, FALSE, static_cast<DWORD>(process)) : nullptr);
    if (!handle) {
        return Fail(problem, possible && ::GetLastError() == ERROR_ACCESS_DENIED
                                 ? WhyNotAttached(process,
                                                  "no permission: it is another user's, or "
                                                  "protected; an administrator's agent may")
                                 : Format("there is no process %llu", Wide(process)));
    }
    std::string why = WhyNotToControl(handle.get());
    if (why.empty() && !DebugActiveProcess(static_cast<DWORD>(process))) {
        why = SystemText(::GetLastError());
    }
    return why.empty() || Fail(problem, WhyNotAttached(process, why));
}

// As threads' handles in windows_threads.cpp.
void CloseIfLeft(HANDLE process, DWORD id) {
    if (process != nullptr && GetProcessId(process) == id) {
        CloseHandle(process);
    }
}

}  // namespace

Debugger::Debugger(EventSink* sink)
    : sink_(sink), modules_([this](Address address, void* bytes, std::size_t count) {
          return ReadProcess(process_, address, bytes, count) == count;
      }) {}

Debugger::~Debugger() {
    std::string problem;  // there is nobody to tell
    if (phase_ != Phase::kNone) {
        (void)(launched_ ? Kill(&problem) : Detach(false, &problem));
    }
}

// --- Taking control, and giving it up.

bool Debugger::Launch(const std::vector<std::string>& command_line, std::string* problem) {
    std::erase_if(let_go_, [](const auto& output) { return output->IsOver(); });
    if (!RequireNone(problem) ||
        !StartProgram(command_line, sink_, &output_, &process_id_, problem)) {
        return false;
    }
    launched_ = true;
    phase_ = Phase::kStarting;
    if (!HandleEventsWhile(Phase::kStarting, kTimeToStart)) {
        (void)Kill(problem);
        return Fail(problem, "cannot launch " + command_line[0] + ": it does not start");
    }
    if (phase_ == Phase::kNone) {
        return Fail(problem,
                    "cannot launch " + command_line[0] + ": it died at start, " + DescribeEnd());
    }
    DebugSetProcessKillOnExit(TRUE);
    Report("launched", threads_.Find(break_in_thread_), 0, "");
    return true;
}

bool Debugger::Attach(std::uint64_t process, std::string* problem) {
    if (!RequireNone(problem) || !BeginToControl(process, problem)) {
        return false;
    }
    DebugSetProcessKillOnExit(FALSE);
    process_id_ = static_cast<DWORD>(process);
    launched_ = false;
    phase_ = Phase::kStarting;
    FinishBreakIn(HandleEventsWhile(Phase::kStarting, kTimeToBreakIn));
    if (phase_ == Phase::kNone) {
        return Fail(problem, WhyNotAttached(process, DescribeEnd()));
    }
    Report("attached", threads_.Main(), 0, "");
    return true;
}

// The system has run a thread of its own into a breakpoint. It goes on and ends, with all threads
// of the debuggee held, so that nothing in there tells of us. If that thread could not begin or
// cannot end, because a lock that it needs is taken, holding the others is enough.
void Debugger::FinishBreakIn(bool broke_in) {
    if (phase_ == Phase::kNone) {
        return;
    }
    const DWORD break_in = broke_in ? break_in_thread_ : 0;
    holding_ = true;
    threads_.HoldAllBut(break_in);
    threads_.WakeIfAllSleep(break_in);
    phase_ = Phase::kSettling;
    ContinueEvent();
    while (threads_.Find(break_in) != nullptr && HandleEvent(kTimeToEndBreakIn)) {
    }
    if (phase_ != Phase::kNone) {
        threads_.HoldAllBut(0);
        phase_ = Phase::kStopped;
    }
}

// A thread may just have run into a breakpoint, and its event be still to come. When that has been
// dealt with, the breakpoints can be taken out and nothing of us is left.
bool Debugger::Detach(bool leave_stopped, std::string* problem) {
    if (!RequireDebuggee(problem)) {
        return false;
    }
    HoldStill();
    phase_ = Phase::kSettling;
    ContinueEvent();
    for (int i = 0; i < kMostEventsAtOnce && HandleEvent(kTimeToSettle); ++i) {
    }
    if (phase_ == Phase::kNone) {
        return Fail(problem, problem_);
    }
    RemoveBreakpoints();
    if (!DebugActiveProcessStop(process_id_)) {
        phase_ = Phase::kStopped;
        return Fail(problem, Format("process %lu cannot be let go: ", process_id_) +
                                 SystemText(::GetLastError()));
    }
    if (!leave_stopped) {
        threads_.ReleaseAll();
    }
    if (output_ != nullptr) {
        let_go_.push_back(std::move(output_));  // it writes on
    }
    Forget(Format("process %lu was let go", process_id_));
    Event event;
    event.kind = Event::Kind::kDetached;
    event.process = process_id_;
    sink_->OnEvent(event);
    return true;
}

bool Debugger::Kill(std::string* problem) {
    if (!RequireDebuggee(problem)) {
        return false;
    }
    if (!TerminateProcess(process_, 1)) {
        return Fail(problem, Format("process %lu cannot be killed: ", process_id_) +
                                 SystemText(::GetLastError()));
    }
    phase_ = Phase::kDying;
    step_.reset();
    holding_ = false;
    threads_.ReleaseAll();
    ContinueEvent();
    return HandleEventsWhile(Phase::kDying, kTimeToEnd) ||
           Fail(problem, Format("process %lu was killed, but has not ended yet", process_id_));
}

// Handles events until the debuggee leaves a phase. False if it does not in so many milliseconds.
bool Debugger::HandleEventsWhile(Phase phase, DWORD timeout) {
    const ULONGLONG end = GetTickCount64() + timeout;
    while (phase_ == phase) {
        const ULONGLONG now = GetTickCount64();
        if (now >= end) {
            return false;
        }
        (void)HandleEvent(static_cast<DWORD>(end - now));
    }
    return true;
}

// The breakpoints are in memory that is gone, or were removed before.
void Debugger::Forget(const std::string& problem) {
    phase_ = Phase::kNone;
    problem_ = "there is no debuggee: " + problem;
    pending_.reset();
    step_.reset();
    to_step_.clear();
    holding_ = false;
    threads_.Clear();
    modules_.Clear();
    breakpoints_.Reset();
    CloseIfLeft(std::exchange(process_, nullptr), process_id_);
}

std::string Debugger::DescribeEnd() const {
    const std::string text = Format("process %lu ended with ", process_id_);
    return IsExceptionCode(exit_code_) ? text + ExceptionName(exit_code_)
                                       : text + Format("code %d", static_cast<int>(exit_code_));
}

// --- Looking around.

State Debugger::GetState() const {
    State state;
    if (phase_ == Phase::kNone) {
        state.problem = problem_;
        return state;
    }
    state.process = process_id_;
    state.kind = phase_ == Phase::kStopped ? State::Kind::kStopped : State::Kind::kRunning;
    if (phase_ == Phase::kStopped) {
        state.stop = stop_;
    }
    return state;
}

bool Debugger::Modules(std::vector<Module>* modules, std::string* problem) {
    *modules = modules_.List();
    return RequireDebuggee(problem);
}

bool Debugger::Threads(std::vector<ThreadState>* threads, std::string* problem) {
    threads->clear();
    for (const DebuggeeThread& thread : threads_.All()) {
        threads->push_back(
            {thread.id, thread.Name(), phase_ == Phase::kStopped ? thread.Position() : 0});
    }
    return RequireDebuggee(problem);
}

bool Debugger::Registers(ThreadId id, std::vector<Register>* registers, std::string* problem) {
    registers->clear();
    const DebuggeeThread* const thread = RequireStoppedThread(id, problem);
    if (thread == nullptr) {
        return false;
    }
    CONTEXT context;
    if (!thread->GetContext(&context)) {
        return Fail(problem, Format("thread %lu has no registers: ", thread->id) +
                                 SystemText(::GetLastError()));
    }
    for (const RegisterField& field : RegisterFields()) {
        registers->push_back({field.name, ReadField(context, field)});
    }
    return true;
}

bool Debugger::WriteRegister(ThreadId id, const std::string& name, std::uint64_t value,
                             std::string* problem) {
    const DebuggeeThread* const thread = RequireStoppedThread(id, problem);
    if (thread == nullptr) {
        return false;
    }
    const auto fields = RegisterFields();
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&name](const RegisterField& f) { return name == f.name; });
    if (field == fields.end()) {
        return Fail(problem, "no register " + name);
    }
    if (!field->writable) {
        return Fail(problem, name + " cannot be changed");
    }
    if (field->bytes < sizeof value && value >> (8 * field->bytes) != 0) {
        return Fail(problem,
                    Format("%s has %d bits", field->name, static_cast<int>(8 * field->bytes)));
    }
    CONTEXT context;
    if (thread->GetContext(&context)) {
        WriteField(&context, *field, value);
        if (thread->SetContext(context)) {
            return true;
        }
    }
    return Fail(problem, "cannot change " + name + ": " + SystemText(::GetLastError()));
}

std::size_t Debugger::ReadMemory(Address address, void* bytes, std::size_t count,
                                 std::string* problem) {
    if (!RequireDebuggee(problem)) {
        return 0;
    }
    const std::size_t done = ReadOwn(address, bytes, count);
    ExplainPart(done, count, address, "read", problem);
    return done;
}

// The memory as the debuggee's own code has it.
std::size_t Debugger::ReadOwn(Address address, void* bytes, std::size_t count) {
    const std::size_t done = ReadProcess(process_, address, bytes, count);
    breakpoints_.Hide(address, static_cast<unsigned char*>(bytes), done);
    return done;
}

std::size_t Debugger::WriteMemory(Address address, const void* bytes, std::size_t count,
                                  std::string* problem) {
    if (!RequireDebuggee(problem)) {
        return 0;
    }
    const auto* const own = static_cast<const unsigned char*>(bytes);
    std::vector<unsigned char> changed(own, own + count);
    breakpoints_.Insert(address, changed.data(), count);
    const std::size_t done = WriteProcess(process_, address, changed.data(), count);
    breakpoints_.KeepDisplaced(address, own, done);
    ExplainPart(done, count, address, "written", problem);
    return done;
}

bool Debugger::FindSymbol(const std::string& name, Address* address) {
    return modules_.FindSymbol(name, address);
}

std::string Debugger::Describe(Address address) {
    return modules_.Describe(address);
}

// --- Running.

bool Debugger::SetBreakpoint(Address address, int* number, std::string* problem) {
    if (!RequireStopped(problem)) {
        return false;
    }
    if (const BreakpointTable::Entry* const there = breakpoints_.FindAt(address)) {
        *number = there->number;
        return true;
    }
    unsigned char displaced = 0;
    if (ReadProcess(process_, address, &displaced, 1) != 1) {
        return Fail(problem, Format("there is no memory at 0x%llx", Wide(address)));
    }
    if (!WriteByte(address, BreakpointTable::kInstruction)) {
        return Fail(problem, Format("cannot write memory at 0x%llx", Wide(address)));
    }
    *number = breakpoints_.Add(address, displaced);
    return true;
}

bool Debugger::DeleteBreakpoint(int number, std::string* problem) {
    if (!RequireStopped(problem)) {
        return false;
    }
    const BreakpointTable::Entry* const breakpoint = breakpoints_.FindNumber(number);
    if (breakpoint == nullptr) {
        return Fail(problem, Format("no breakpoint %d", number));
    }
    TakeOut(*breakpoint);
    breakpoints_.Remove(number);
    return true;
}

void Debugger::RemoveBreakpoints() {
    for (const BreakpointTable::Entry* const breakpoint : breakpoints_.All()) {
        TakeOut(*breakpoint);
    }
    breakpoints_.Clear();
}

// Its module may have been unloaded, and something else be there now.
void Debugger::TakeOut(const BreakpointTable::Entry& breakpoint) {
    unsigned char there = 0;
    if (ReadProcess(process_, breakpoint.address, &there, 1) == 1 &&
        there == BreakpointTable::kInstruction) {
        (void)WriteByte(breakpoint.address, breakpoint.displaced);  // no better place for it
    }
}

bool Debugger::WriteByte(Address address, unsigned char byte) {
    return WriteProcess(process_, address, &byte, 1) == 1;
}

// A thread that stopped at a breakpoint was told of. It steps over the breakpoint, unless it has an
// exception to deal with first.
bool Debugger::Continue(std::string* problem) {
    if (!RequireStopped(problem)) {
        return false;
    }
    for (DebuggeeThread& thread : threads_.All()) {
        const Address told_at = std::exchange(thread.told_at, 0);
        const bool has_fault = pending_ && pending_->is_fault && pending_->thread == thread.id;
        if (told_at != 0 && breakpoints_.FindAt(told_at) != nullptr && !has_fault &&
            thread.Position() == told_at) {
            thread.told_at = told_at;
            to_step_.push_back(thread.id);
        }
    }
    StepNextOrRunAll();
    GoOn();
    return true;
}

bool Debugger::Step(ThreadId id, std::string* problem) {
    DebuggeeThread* const thread = RequireStoppedThread(id, problem);
    if (thread == nullptr) {
        return false;
    }
    if (!BeginStep(thread, true)) {
        return Fail(problem, Format("thread %lu cannot make a step: ", thread->id) +
                                 SystemText(::GetLastError()));
    }
    GoOn();
    return true;
}

bool Debugger::Interrupt(std::string* problem) {
    if (!RequireDebuggee(problem)) {
        return false;
    }
    if (phase_ == Phase::kStopped) {
        return Fail(problem, "the debuggee is stopped already");
    }
    HoldStill();
    for (int i = 0; i < kMostEventsAtOnce && phase_ == Phase::kRunning && HandleEvent(0); ++i) {
    }
    if (phase_ == Phase::kRunning) {  // else it has stopped by itself just now, or ended
        phase_ = Phase::kStopped;
        Report("interrupt", threads_.Main(), 0, "");
    }
    return true;
}

void Debugger::HoldStill() {
    holding_ = true;
    threads_.HoldAllBut(0);
    CallOffStep();
    to_step_.clear();
}

// --- What is told of, and what is required.

void Debugger::Report(const char* reason, DebuggeeThread* thread, int breakpoint,
                      std::string text) {
    stop_ = Event();
    stop_.kind = Event::Kind::kStopped;
    stop_.process = process_id_;
    stop_.reason = reason;
    stop_.breakpoint = breakpoint;
    stop_.text = std::move(text);
    if (thread != nullptr) {
        stop_.thread = thread->id;
        stop_.address = thread->told_at = thread->Position();
        stop_.symbol = Describe(stop_.address);
    }
    if (output_ != nullptr) {
        output_->Drain(false);
    }
    sink_->OnEvent(stop_);
}

// What a debuggee brings along at its start is asked for, not told.
void Debugger::TellDebuggeesEvent(Event::Kind kind, DWORD thread, Address address,
                                  std::string text) {
    if (phase_ != Phase::kRunning) {
        return;
    }
    Event event;
    event.kind = kind;
    event.process = process_id_;
    event.thread = thread;
    event.address = address;
    event.text = std::move(text);
    sink_->OnEvent(event);
}

bool Debugger::RequireNone(std::string* problem) const {
    return phase_ == Phase::kNone ||
           Fail(problem,
                Format("process %lu is controlled already: kill it or detach first", process_id_));
}

bool Debugger::RequireDebuggee(std::string* problem) const {
    return phase_ != Phase::kNone || Fail(problem, problem_);
}

bool Debugger::RequireStopped(std::string* problem) const {
    return RequireDebuggee(problem) &&
           (phase_ == Phase::kStopped || Fail(problem, "the debuggee runs: interrupt it first"));
}

// null, with *problem set, when there is no such thread.
DebuggeeThread* Debugger::RequireStoppedThread(ThreadId id, std::string* problem) {
    if (!RequireStopped(problem)) {
        return nullptr;
    }
    DebuggeeThread* const thread = id == 0 ? threads_.Find(static_cast<DWORD>(stop_.thread))
                                   : id <= MAXDWORD ? threads_.Find(static_cast<DWORD>(id))
                                                    : nullptr;
    if (thread == nullptr) {
        Fail(problem, Format("no thread %llu", Wide(id == 0 ? stop_.thread : id)));
    }
    return thread;
}

}  // namespace example
