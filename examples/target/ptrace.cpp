// A target that controls processes of Linux, by ptrace. Everything happens on the tracer's thread;
// this hands it over.
#include <utility>

#include "target/ptrace_text.h"
#include "target/ptrace_tracer.h"
#include "target/target.h"

namespace example {

namespace {

class PtraceTarget final : public Target {
  public:
    explicit PtraceTarget(EventSink* sink) : tracer_(sink), started_(tracer_.Start()) {}

    bool Launch(const std::vector<std::string>& command_line, std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Launch(command_line, problem); });
    }
    bool Attach(std::uint64_t process, std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Attach(process, problem); });
    }
    bool Detach(bool leave_stopped, std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Detach(leave_stopped, problem); });
    }
    bool Kill(std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Kill(problem); });
    }

    State GetState() override {
        State state;
        (void)OnTracer(&state.problem, [&](Debuggee& it) {  // state says all
            state = it.GetState();
            return true;
        });
        return state;
    }

    bool Modules(std::vector<Module>* modules, std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Modules(modules, problem); });
    }
    bool Threads(std::vector<ThreadState>* threads, std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Threads(threads, problem); });
    }
    bool Registers(ThreadId thread, std::vector<Register>* registers,
                   std::string* problem) override {
        return OnTracer(problem,
                        [&](Debuggee& it) { return it.Registers(thread, registers, problem); });
    }
    bool WriteRegister(ThreadId thread, const std::string& name, std::uint64_t value,
                       std::string* problem) override {
        return OnTracer(
            problem, [&](Debuggee& it) { return it.WriteRegister(thread, name, value, problem); });
    }

    std::size_t ReadMemory(Address address, void* bytes, std::size_t count,
                           std::string* problem) override {
        std::size_t done = 0;
        (void)OnTracer(problem, [&](Debuggee& it) {  // done says all
            done = it.ReadMemory(address, bytes, count, problem);
            return true;
        });
        return done;
    }
    std::size_t WriteMemory(Address address, const void* bytes, std::size_t count,
                            std::string* problem) override {
        std::size_t done = 0;
        (void)OnTracer(problem, [&](Debuggee& it) {  // done says all
            done = it.WriteMemory(address, bytes, count, problem);
            return true;
        });
        return done;
    }

    bool FindSymbol(const std::string& name, Address* address) override {
        std::string ignored;
        return OnTracer(&ignored, [&](Debuggee& it) { return it.FindSymbol(name, address); });
    }
    std::string Describe(Address address) override {
        std::string text;
        std::string ignored;
        (void)OnTracer(&ignored, [&](Debuggee& it) {  // text says all
            text = it.Describe(address);
            return true;
        });
        return text;
    }

    bool SetBreakpoint(Address address, int* number, std::string* problem) override {
        return OnTracer(problem,
                        [&](Debuggee& it) { return it.SetBreakpoint(address, number, problem); });
    }
    bool DeleteBreakpoint(int number, std::string* problem) override {
        return OnTracer(problem,
                        [&](Debuggee& it) { return it.DeleteBreakpoint(number, problem); });
    }
    std::vector<Breakpoint> Breakpoints() override {
        std::vector<Breakpoint> list;
        std::string ignored;
        (void)OnTracer(&ignored, [&](Debuggee& it) {  // list says all
            list = it.Breakpoints();
            return true;
        });
        return list;
    }

    bool Continue(std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Continue(problem); });
    }
    bool Step(ThreadId thread, std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Step(thread, problem); });
    }
    bool Interrupt(std::string* problem) override {
        return OnTracer(problem, [&](Debuggee& it) { return it.Interrupt(problem); });
    }

  private:
    template <class Work>
    bool OnTracer(std::string* problem, Work work) {
        if (!started_) {
            return Fail(problem, "the agent has no thread to control a process with");
        }
        bool done = false;
        tracer_.Run([&](Debuggee& debuggee) { done = work(debuggee); });
        return done;
    }

    Tracer tracer_;
    const bool started_;
};

}  // namespace

std::unique_ptr<Target> MakeProcessTarget(EventSink* sink) {
    return std::make_unique<PtraceTarget>(sink);
}

}  // namespace example
