// The control of a debuggee by the system's debug events: what comes, and going on after it.
#include "target/windows_debugger.h"

#include <utility>

#include "target/windows_exceptions.h"
#include "target/windows_text.h"

namespace example {

bool Debugger::HandleEvent(DWORD timeout) {
    DEBUG_EVENT event;
    if (!WaitForDebugEvent(&event, timeout)) {
        return false;
    }
    pending_ = PendingEvent();
    pending_->thread = event.dwThreadId;
    pending_->kind = event.dwDebugEventCode;
    OnEvent(event);
    if (phase_ != Phase::kStopped) {
        ContinueEvent();
    }
    return true;
}

void Debugger::OnEvent(const DEBUG_EVENT& event) {
    switch (event.dwDebugEventCode) {
        case CREATE_PROCESS_DEBUG_EVENT:
            return OnProcessCreated(event);
        case CREATE_THREAD_DEBUG_EVENT:
            return OnThreadCreated(event.dwThreadId, event.u.CreateThread.hThread);
        case EXIT_THREAD_DEBUG_EVENT:
            return OnThreadEnded(event.dwThreadId);
        case EXIT_PROCESS_DEBUG_EVENT:
            exit_code_ = event.u.ExitProcess.dwExitCode;
            return;
        case LOAD_DLL_DEBUG_EVENT:
            return OnModuleLoaded(reinterpret_cast<std::uintptr_t>(event.u.LoadDll.lpBaseOfDll),
                                  event.u.LoadDll.hFile);
        case UNLOAD_DLL_DEBUG_EVENT:
            return modules_.Remove(reinterpret_cast<std::uintptr_t>(event.u.UnloadDll.lpBaseOfDll));
        case EXCEPTION_DEBUG_EVENT:
            if (DebuggeeThread* const thread = threads_.Find(event.dwThreadId)) {
                OnException(thread, event.u.Exception);
            }
            return;
        default:
            return;  // texts for a debugger, which nobody has asked for
    }
}

void Debugger::OnProcessCreated(const DEBUG_EVENT& event) {
    const CREATE_PROCESS_DEBUG_INFO& info = event.u.CreateProcessInfo;
    process_ = info.hProcess;
    OnThreadCreated(event.dwThreadId, info.hThread);
    OnModuleLoaded(reinterpret_cast<std::uintptr_t>(info.lpBaseOfImage), info.hFile);
}

void Debugger::OnThreadCreated(DWORD id, HANDLE handle) {
    DebuggeeThread& thread = threads_.Add(id, handle);
    if (holding_) {
        ThreadList::Hold(&thread);
    }
    TellDebuggeesEvent(Event::Kind::kThreadStarted, id, 0, "");
}

// Its last event: it is forgotten once that is continued.
void Debugger::OnThreadEnded(DWORD id) {
    TellDebuggeesEvent(Event::Kind::kThreadEnded, id, 0, "");
    if (!step_ || step_->thread != id) {
        return;
    }
    const bool for_user = step_->for_user;
    EndStep();
    if (for_user) {
        Stop("step", threads_.Find(id));
    } else {
        StepNextOrRunAll();
    }
}

void Debugger::OnModuleLoaded(Address start, HANDLE file) {
    std::string path;
    if (file != nullptr) {
        path = PathOfFile(file);
        CloseHandle(file);  // this one is ours to close
    }
    modules_.Add(start, path);
    TellDebuggeesEvent(Event::Kind::kModuleLoaded, 0, start, std::move(path));
}

void Debugger::OnException(DebuggeeThread* thread, const EXCEPTION_DEBUG_INFO& info) {
    const DWORD code = info.ExceptionRecord.ExceptionCode;
    if (phase_ == Phase::kDying) {
        pending_->answer = static_cast<DWORD>(DBG_EXCEPTION_NOT_HANDLED);
    } else if (code == EXCEPTION_BREAKPOINT && info.dwFirstChance) {
        OnBreakpoint(thread,
                     reinterpret_cast<std::uintptr_t>(info.ExceptionRecord.ExceptionAddress));
    } else if (code == EXCEPTION_SINGLE_STEP && info.dwFirstChance) {
        OnSingleStep(thread);
    } else {
        OnOtherException(thread, info);
    }
}

// The thread stands behind the breakpoint's instruction, which is at address.
void Debugger::OnBreakpoint(DebuggeeThread* thread, Address address) {
    if (phase_ == Phase::kStarting) {
        break_in_thread_ = thread->id;
        phase_ = Phase::kStopped;  // Launch or Attach tells of it
        return;
    }
    if (step_ && step_->thread == thread->id && step_->landing == address) {
        return OnLanding(thread);
    }
    unsigned char byte = 0;
    const BreakpointTable::Entry* const breakpoint = breakpoints_.FindAt(address);
    if (breakpoint == nullptr && ReadOwn(address, &byte, 1) == 1 &&
        byte == BreakpointTable::kInstruction) {
        // The program's own, or a break-in by somebody else: it goes on behind it.
        return Stop("signal", thread, 0, ExceptionName(EXCEPTION_BREAKPOINT));
    }
    thread->SetPosition(address);
    const bool others_step = step_ && step_->thread != thread->id;
    if (breakpoint == nullptr || others_step || phase_ == Phase::kSettling) {
        return;  // hit just before it was removed, or the others held: it comes here again
    }
    Stop("breakpoint", thread, breakpoint->number);
}

void Debugger::OnSingleStep(DebuggeeThread* thread) {
    if (!step_ || step_->thread != thread->id) {
        if (!std::exchange(thread->stray_step, false)) {
            pending_->answer = static_cast<DWORD>(DBG_EXCEPTION_NOT_HANDLED);  // the program's own
        }
        return;
    }
    const bool for_user = step_->for_user;
    EndStep();
    if (!for_user) {
        return StepNextOrRunAll();
    }
    const BreakpointTable::Entry* const reached = breakpoints_.FindAt(thread->Position());
    Stop("step", thread, reached != nullptr ? reached->number : 0);
}

void Debugger::OnOtherException(DebuggeeThread* thread, const EXCEPTION_DEBUG_INFO& info) {
    const EXCEPTION_RECORD& record = info.ExceptionRecord;
    pending_->answer = static_cast<DWORD>(DBG_EXCEPTION_NOT_HANDLED);
    if (record.ExceptionCode == kThreadNamingException) {
        return OnThreadName(thread, record);
    }
    // What the debuggee has no handler for comes a second time, and ends it. That is told unless
    // the first time was.
    const bool stops =
        info.dwFirstChance ? IsFault(record.ExceptionCode) : !IsFault(record.ExceptionCode);
    const bool steps = step_ && step_->thread == thread->id;
    if ((stops || (steps && step_->for_user)) && phase_ == Phase::kRunning) {
        pending_->is_fault = true;
        return Stop("fault", thread, 0, DescribeException(record));
    }
    if (steps) {
        // A handler runs now, which may wait for a thread that is held.
        CallOffStep();
        StepNextOrRunAll();
    }
}

// The exception's arguments: 0x1000, where the name is, and the thread, or -1 for the own one.
void Debugger::OnThreadName(DebuggeeThread* thread, const EXCEPTION_RECORD& record) {
    if (record.NumberParameters < 3 || record.ExceptionInformation[0] != 0x1000) {
        return;
    }
    const auto id = static_cast<DWORD>(record.ExceptionInformation[2]);
    DebuggeeThread* const named = id == static_cast<DWORD>(-1) ? thread : threads_.Find(id);
    if (named != nullptr) {
        char name[64];
        const std::size_t length = ReadOwn(record.ExceptionInformation[1], name, sizeof name);
        const std::string_view text(name, length);
        named->told_name = text.substr(0, text.find('\0'));
    }
}

// After its last event was continued. A process that dies at its start is told of by Launch.
void Debugger::OnProcessEnded(DWORD exit_code) {
    const Phase phase = phase_;
    const bool by_exception = IsExceptionCode(exit_code);
    Event event;
    event.kind = Event::Kind::kExited;
    event.process = process_id_;
    event.code = by_exception ? std::int64_t{exit_code} : static_cast<std::int32_t>(exit_code);
    event.reason = phase == Phase::kDying ? "killed" : by_exception ? "signal" : "exit";
    event.text = by_exception ? ExceptionName(exit_code) : "";
    if (output_ != nullptr) {
        output_->Drain(true);
        output_.reset();
    }
    Forget(DescribeEnd());
    if (phase != Phase::kStarting) {
        sink_->OnEvent(event);
    }
}

// --- Stopping and going on.

// Called while an event is dealt with, which from now on holds all threads.
void Debugger::Stop(const char* reason, DebuggeeThread* thread, int breakpoint, std::string text) {
    CallOffStep();
    to_step_.clear();
    holding_ = false;
    threads_.ReleaseAll();
    phase_ = Phase::kStopped;
    Report(reason, thread, breakpoint, std::move(text));
}

// Continues the event that is dealt with, and does what only then can be done.
bool Debugger::ContinueEvent() {
    if (!pending_) {
        return true;
    }
    const PendingEvent event = *std::exchange(pending_, std::nullopt);
    const bool continued = ContinueDebugEvent(process_id_, event.thread, event.answer) != FALSE;
    if (event.kind == EXIT_THREAD_DEBUG_EVENT) {
        threads_.Remove(event.thread);
    } else if (event.kind == EXIT_PROCESS_DEBUG_EVENT) {
        OnProcessEnded(exit_code_);
    }
    return continued;
}

// Lets the stopped debuggee run.
void Debugger::GoOn() {
    phase_ = Phase::kRunning;
    ContinueEvent();
}

// A thread that stands at a breakpoint has to get over it by itself. The others are held meanwhile,
// so that none passes the place while the breakpoint is not there.
void Debugger::StepNextOrRunAll() {
    while (!to_step_.empty()) {
        DebuggeeThread* const thread = threads_.Find(to_step_.front());
        to_step_.pop_front();
        if (thread != nullptr && BeginStep(thread, false)) {
            return;
        }
    }
    holding_ = false;
    threads_.ReleaseAll();
}

bool Debugger::BeginStep(DebuggeeThread* thread, bool for_user) {
    const bool has_exception =
        pending_ && pending_->thread == thread->id && pending_->kind == EXCEPTION_DEBUG_EVENT;
    holding_ = true;
    threads_.HoldAllBut(thread->id);
    thread->told_at = 0;
    thread->stray_step = false;
    step_ = SingleStep();
    step_->thread = thread->id;
    step_->for_user = for_user;
    if (!(has_exception ? SetTrap(thread) : SetLanding(thread->Position()))) {
        step_.reset();
        return false;
    }
    ThreadList::Release(thread);
    return true;
}

bool Debugger::SetTrap(DebuggeeThread* thread) {
    if (!thread->SetTrapFlag(true)) {
        return false;
    }
    BreakpointTable::Entry* const breakpoint = breakpoints_.FindAt(thread->Position());
    if (breakpoint != nullptr) {
        breakpoint->in_memory = !WriteByte(breakpoint->address, breakpoint->displaced);
        step_->lifted = breakpoint->address;
    }
    return true;
}

bool Debugger::SetLanding(Address position) {
    step_->landing = position;
    step_->landing_is_ours = breakpoints_.FindAt(position) == nullptr;
    return !step_->landing_is_ours || (ReadOwn(position, &step_->displaced, 1) == 1 &&
                                       WriteByte(position, BreakpointTable::kInstruction));
}

void Debugger::OnLanding(DebuggeeThread* thread) {
    const bool for_user = step_->for_user;
    thread->SetPosition(step_->landing);
    EndStep();
    if (!BeginStep(thread, for_user)) {
        Stop("interrupt", thread);  // the thread can make no steps
    }
}

void Debugger::EndStep() {
    if (step_->landing_is_ours) {
        (void)WriteByte(step_->landing, step_->displaced);  // the process may be gone
    }
    if (BreakpointTable::Entry* const lifted = breakpoints_.FindAt(step_->lifted)) {
        lifted->in_memory = true;
        (void)WriteByte(lifted->address, BreakpointTable::kInstruction);  // as above
    }
    step_.reset();
}

// REQUIRES: the thread stands still.
void Debugger::CallOffStep() {
    if (!step_) {
        return;
    }
    if (DebuggeeThread* const thread = threads_.Find(step_->thread)) {
        if (step_->landing == 0) {
            thread->SetTrapFlag(false);
            thread->stray_step = true;  // it may have been made, with its event still to come
        }
    }
    EndStep();
}

}  // namespace example
