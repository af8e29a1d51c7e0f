// Controls a process of Windows, by the system's debug events.
//
// Limits, which are the system's: a program of another width than the agent's is refused. When the
// agent is ended by force, a debuggee that was launched ends with it; one that was attached to runs
// on, with the breakpoints still in it.
//
// Under Wine, memory that the debuggee itself may not access can be read all the same, and what is
// written to the registers of a thread that was interrupted inside the system may be lost.
#include <utility>

#include "target/handover.h"
#include "target/target.h"
#include "target/windows_debugger.h"
#include "target/windows_text.h"

namespace example {

namespace {

// How long a request may wait while the debuggee runs: the system has no handle to wait for events
// and for requests at once. Waiting for requests only, once the debuggee is stopped, has no such
// bound.
constexpr DWORD kLookForRequests = 10;  // milliseconds

// The thread that owns the debuggee does everything; the others hand their requests over.
class WindowsTarget final : public Target {
  public:
    explicit WindowsTarget(EventSink* sink) : sink_(sink) {
        requests_.SetHandle(handover_.Arrived(), kRequest, ZTK::SyncTypeNone);
        thread_.reset(handover_.IsUsable() ? CreateThread(nullptr, 0, Thread, this, 0, nullptr)
                                           : nullptr);
    }
    WindowsTarget(const WindowsTarget&) = delete;
    WindowsTarget& operator=(const WindowsTarget&) = delete;

    ~WindowsTarget() override {
        if (thread_) {
            handover_.Run([this] { ending_ = true; });
            WaitForSingleObject(thread_.get(), INFINITE);
        }
    }

    bool Launch(const std::vector<std::string>& command_line, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Launch(command_line, problem); });
    }
    bool Attach(std::uint64_t process, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Attach(process, problem); });
    }
    bool Detach(bool leave_stopped, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Detach(leave_stopped, problem); });
    }
    bool Kill(std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Kill(problem); });
    }
    State GetState() override {
        State state;
        (void)Ask(&state.problem, [&](Debugger& d) { return state = d.GetState(), true; });
        return state;
    }

    bool Modules(std::vector<Module>* modules, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Modules(modules, problem); });
    }
    bool Threads(std::vector<ThreadState>* threads, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Threads(threads, problem); });
    }
    bool Registers(ThreadId thread, std::vector<Register>* registers,
                   std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Registers(thread, registers, problem); });
    }
    bool WriteRegister(ThreadId thread, const std::string& name, std::uint64_t value,
                       std::string* problem) override {
        return Ask(problem,
                   [&](Debugger& d) { return d.WriteRegister(thread, name, value, problem); });
    }
    std::size_t ReadMemory(Address address, void* bytes, std::size_t count,
                           std::string* problem) override {
        return Ask(problem,
                   [&](Debugger& d) { return d.ReadMemory(address, bytes, count, problem); });
    }
    std::size_t WriteMemory(Address address, const void* bytes, std::size_t count,
                            std::string* problem) override {
        return Ask(problem,
                   [&](Debugger& d) { return d.WriteMemory(address, bytes, count, problem); });
    }
    bool FindSymbol(const std::string& name, Address* address) override {
        std::string problem;  // the name is not known then
        return Ask(&problem, [&](Debugger& d) { return d.FindSymbol(name, address); });
    }
    std::string Describe(Address address) override {
        std::string problem;  // nothing is known then
        return Ask(&problem, [&](Debugger& d) { return d.Describe(address); });
    }

    bool SetBreakpoint(Address address, int* number, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.SetBreakpoint(address, number, problem); });
    }
    bool DeleteBreakpoint(int number, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.DeleteBreakpoint(number, problem); });
    }
    std::vector<Breakpoint> Breakpoints() override {
        std::string problem;  // there are none then
        return Ask(&problem, [&](Debugger& d) { return d.Breakpoints(); });
    }
    bool Continue(std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Continue(problem); });
    }
    bool Step(ThreadId thread, std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Step(thread, problem); });
    }
    bool Interrupt(std::string* problem) override {
        return Ask(problem, [&](Debugger& d) { return d.Interrupt(problem); });
    }

  private:
    static constexpr unsigned kRequest = 0;

    // What request gives, called on the thread that owns the debuggee.
    template <class Request>
    std::invoke_result_t<Request, Debugger&> Ask(std::string* problem, Request request) {
        std::invoke_result_t<Request, Debugger&> result{};
        if (!thread_) {
            *problem = "the agent has no thread to control a process with";
            return result;
        }
        handover_.Run([&] { result = request(*debugger_); });
        return result;
    }

    static DWORD WINAPI Thread(void* target) {
        static_cast<WindowsTarget*>(target)->Serve();
        return 0;
    }

    void Serve() {
        Debugger debugger(sink_);
        debugger_ = &debugger;
        while (!ending_) {
            const bool runs = debugger.AwaitsEvents();
            if (runs) {
                (void)debugger.HandleEvent(kLookForRequests);  // whether there was one or not
            }
            if (requests_.Wait(1U << kRequest, runs ? 0 : -1) == kRequest) {
                handover_.Serve();
            }
        }
    }

    EventSink* const sink_;
    Handover handover_;
    ZTK::CSASync requests_;  // borrows its handle
    ZTK::COwnedHandle thread_;
    Debugger* debugger_ = nullptr;  // the thread's, as long as it serves
    bool ending_ = false;           // touched by the thread
};

}  // namespace

std::unique_ptr<Target> MakeProcessTarget(EventSink* sink) {
    return std::make_unique<WindowsTarget>(sink);
}

// Everybody may control his own processes. Where this system is an imitation, it may lack what it
// needs for that itself, which shows in reading memory: even our own, if we ask as a debugger does.
bool CanControlProcesses(std::string* problem) {
    char here = 0;
    char read = 0;
    SIZE_T count = 0;
    if (ReadProcessMemory(GetCurrentProcess(), &here, &read, 1, &count) && count == 1) {
        return true;
    }
    *problem = "this system does not let us read other processes' memory: " +
               SystemText(::GetLastError()) +
               " (Wine needs ptrace, which a container has with --cap-add=SYS_PTRACE)";
    return false;
}

}  // namespace example
