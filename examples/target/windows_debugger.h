// The control of a debuggee by the system's debug events.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <ztk/ztk.h>

#include "target/breakpoint_table.h"
#include "target/target.h"
#include "target/windows_modules.h"
#include "target/windows_output.h"
#include "target/windows_threads.h"

namespace example {

// Does what a Target does, all of it on one thread: the system gives a debuggee's events to the
// thread that has begun to control it, and to no other.
//
// The debuggee stops in one of two ways. With each event the system stops all of its threads until
// the event is continued. Without an event, all threads are held. While one thread makes a step,
// the others are held and the debuggee counts as running.
class Debugger {
  public:
    explicit Debugger(EventSink* sink);
    Debugger(const Debugger&) = delete;
    Debugger& operator=(const Debugger&) = delete;
    ~Debugger();  // as Target's

    // Whether the debuggee may have events for us: it is neither stopped nor gone.
    [[nodiscard]] bool AwaitsEvents() const {
        return phase_ != Phase::kNone && phase_ != Phase::kStopped;
    }

    // Waits for an event and deals with it. False if none has come. REQUIRES: AwaitsEvents
    bool HandleEvent(DWORD timeout);

    // As Target's functions.
    bool Launch(const std::vector<std::string>& command_line, std::string* problem);
    bool Attach(std::uint64_t process, std::string* problem);
    bool Detach(bool leave_stopped, std::string* problem);
    bool Kill(std::string* problem);
    [[nodiscard]] State GetState() const;
    bool Modules(std::vector<Module>* modules, std::string* problem);
    bool Threads(std::vector<ThreadState>* threads, std::string* problem);
    bool Registers(ThreadId thread, std::vector<Register>* registers, std::string* problem);
    bool WriteRegister(ThreadId thread, const std::string& name, std::uint64_t value,
                       std::string* problem);
    std::size_t ReadMemory(Address address, void* bytes, std::size_t count, std::string* problem);
    std::size_t WriteMemory(Address address, const void* bytes, std::size_t count,
                            std::string* problem);
    bool FindSymbol(const std::string& name, Address* address);
    std::string Describe(Address address);
    bool SetBreakpoint(Address address, int* number, std::string* problem);
    bool DeleteBreakpoint(int number, std::string* problem);
    std::vector<Breakpoint> Breakpoints() { return breakpoints_.List(); }
    bool Continue(std::string* problem);
    bool Step(ThreadId thread, std::string* problem);
    bool Interrupt(std::string* problem);

  private:
    enum class Phase {
        kNone,      // no debuggee
        kStarting,  // launched or attached to, but its first breakpoint has not come
        kRunning,
        kStopped,
        kSettling,  // held, while what was under way comes to its end: nothing stops it
        kDying,     // killed, but its last event has not come
    };

    // One instruction of one thread, for the user or to get over a breakpoint.
    //
    // The trap flag is given to a thread with an exception of its own to continue. Another may be
    // inside the system, where Wine can lose the flag or make two traps of it: it first lands on a
    // breakpoint where it stands.
    struct SingleStep {
        DWORD thread = 0;
        bool for_user = false;
        Address lifted = 0;            // where the breakpoint is that it goes over; 0: none
        Address landing = 0;           // where it has to land first; 0: nowhere
        bool landing_is_ours = false;  // not a breakpoint of the user
        unsigned char displaced = 0;   // by the one that is ours
    };

    // An event that the system waits for us to continue.
    struct PendingEvent {
        DWORD thread = 0;
        DWORD answer = DBG_CONTINUE;
        DWORD kind = 0;
        bool is_fault = false;  // which the debuggee gets when it goes on
    };

    // --- windows_debugger.cpp: commands.
    bool RequireNone(std::string* problem) const;
    bool RequireDebuggee(std::string* problem) const;
    bool RequireStopped(std::string* problem) const;
    DebuggeeThread* RequireStoppedThread(ThreadId id, std::string* problem);
    bool HandleEventsWhile(Phase phase, DWORD timeout);
    void FinishBreakIn(bool broke_in);
    void HoldStill();
    std::string DescribeEnd() const;
    void Report(const char* reason, DebuggeeThread* thread, int breakpoint, std::string text);
    void TellDebuggeesEvent(Event::Kind kind, DWORD thread, Address address, std::string text);
    std::size_t ReadOwn(Address address, void* bytes, std::size_t count);
    bool WriteByte(Address address, unsigned char byte);
    void TakeOut(const BreakpointTable::Entry& breakpoint);
    void RemoveBreakpoints();
    void Forget(const std::string& problem);

    // --- windows_debug_events.cpp: events, and what makes the debuggee run.
    void OnEvent(const DEBUG_EVENT& event);
    void OnProcessCreated(const DEBUG_EVENT& event);
    void OnThreadCreated(DWORD id, HANDLE handle);
    void OnThreadEnded(DWORD id);
    void OnModuleLoaded(Address start, HANDLE file);
    void OnException(DebuggeeThread* thread, const EXCEPTION_DEBUG_INFO& info);
    void OnBreakpoint(DebuggeeThread* thread, Address address);
    void OnSingleStep(DebuggeeThread* thread);
    void OnOtherException(DebuggeeThread* thread, const EXCEPTION_DEBUG_INFO& info);
    void OnThreadName(DebuggeeThread* thread, const EXCEPTION_RECORD& record);
    void OnProcessEnded(DWORD exit_code);
    void Stop(const char* reason, DebuggeeThread* thread, int breakpoint = 0,
              std::string text = std::string());
    bool ContinueEvent();
    void GoOn();
    void StepNextOrRunAll();
    bool BeginStep(DebuggeeThread* thread, bool for_user);
    bool SetTrap(DebuggeeThread* thread);
    bool SetLanding(Address position);
    void OnLanding(DebuggeeThread* thread);
    void EndStep();
    void CallOffStep();

    EventSink* const sink_;
    Phase phase_ = Phase::kNone;
    HANDLE process_ = nullptr;  // came with the first event
    DWORD process_id_ = 0;
    bool launched_ = false;
    DWORD break_in_thread_ = 0;  // the system's own, which stops a process that we attach to
    ThreadList threads_;
    ModuleList modules_;
    BreakpointTable breakpoints_;
    std::optional<PendingEvent> pending_;
    std::optional<SingleStep> step_;
    std::deque<DWORD> to_step_;  // threads that have to get over a breakpoint before all may run
    bool holding_ = false;       // new threads are held too
    Event stop_;                 // kStopped: what is told of it
    DWORD exit_code_ = 0;        // of the last one that ended
    std::string problem_ = "there is no debuggee: launch or attach to one";  // kNone: why

    std::unique_ptr<OutputReader> output_;               // of the debuggee, if launched
    std::vector<std::unique_ptr<OutputReader>> let_go_;  // of those that run on without us
};

}  // namespace example
