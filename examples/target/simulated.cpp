// A made-up debuggee: memory, registers, threads and modules that no system knows. It works
// everywhere, so that the agent can be shown and tested where no process may be controlled.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <string_view>

#include <ztk/ztk.h>

#include "common/format.h"
#include "target/target.h"

namespace example {

namespace {

constexpr std::uint64_t kProcess = 1;
constexpr Address kMemoryStart = 0x1000;
constexpr std::size_t kMemoryBytes = 0x1000;
constexpr Address kInstructionBytes = 4;  // of each instruction of this processor
constexpr std::size_t kMostBreakpoints = 100;

constexpr const char* kRegisterNames[] = {"rax", "rbx", "rcx", "rdx", "rsi", "rdi", "rsp", "rip"};
constexpr std::size_t kRip = 7;

struct Symbol {
    const char* name;
    Address address;
    std::size_t bytes;
};
constexpr Symbol kSymbols[] = {
    {"sample_main", 0x1040, 0x40}, {"sample_work", 0x1800, 0x80}, {"sample_log", 0x1880, 0x40}};

struct Thread {
    ThreadId id;
    const char* name;
    std::array<std::uint64_t, 8> registers;
};

bool Fail(std::string* problem, std::string sentence) {
    *problem = std::move(sentence);
    return false;
}

// How many of count bytes from address are memory.
std::size_t Accessible(Address address, std::size_t count) {
    if (address < kMemoryStart || address - kMemoryStart >= kMemoryBytes) {
        return 0;
    }
    return std::min<std::size_t>(count, kMemoryBytes - (address - kMemoryStart));
}

class SimulatedTarget final : public Target {
  public:
    explicit SimulatedTarget(EventSink* sink) : sink_(sink), memory_(kMemoryBytes) {
        for (std::size_t i = 0; i < memory_.size(); ++i) {
            memory_[i] = static_cast<unsigned char>(i * 31 + i / 16 * 7);
        }
        constexpr std::string_view kText = "Hello from the debuggee!";
        std::copy(kText.begin(), kText.end(), memory_.begin());
        state_.kind = State::Kind::kStopped;
        state_.process = kProcess;
        state_.stop = Stop(threads_[0], "launched");
    }

    // --- Taking control, and giving it up.

    bool Launch(const std::vector<std::string>&, std::string* problem) override {
        return Fail(problem, "this agent has a simulated debuggee only, it launches no program");
    }
    bool Attach(std::uint64_t, std::string* problem) override {
        return Fail(problem, "this agent has a simulated debuggee only, it attaches to no process");
    }

    bool Detach(bool, std::string* problem) override {
        Event event;
        event.kind = Event::Kind::kDetached;
        return End(event, "the simulated debuggee was let go", problem);
    }
    bool Kill(std::string* problem) override {
        Event event;
        event.kind = Event::Kind::kExited;
        event.reason = "killed";
        return End(event, "the simulated debuggee was killed", problem);
    }

    State GetState() override {
        const ZTK::CLockGuard guard(lock_);
        return state_;
    }

    // --- Looking around.

    bool Modules(std::vector<Module>* modules, std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        *modules = {{0x1000, 0x1800, "/opt/sample/bin/sample"},
                    {0x1800, 0x1C00, "/opt/sample/lib/libsample.so"}};
        return IsThere(problem);
    }

    bool Threads(std::vector<ThreadState>* threads, std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        threads->clear();
        const bool stopped = state_.kind == State::Kind::kStopped;
        for (const Thread& thread : threads_) {
            threads->push_back({thread.id, thread.name, stopped ? thread.registers[kRip] : 0});
        }
        return IsThere(problem);
    }

    bool Registers(ThreadId thread, std::vector<Register>* registers,
                   std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        const Thread* found = StoppedThread(thread, problem);
        if (found == nullptr) {
            return false;
        }
        registers->clear();
        for (std::size_t i = 0; i < found->registers.size(); ++i) {
            registers->push_back({kRegisterNames[i], found->registers[i]});
        }
        return true;
    }

    bool WriteRegister(ThreadId thread, const std::string& name, std::uint64_t value,
                       std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        Thread* found = StoppedThread(thread, problem);
        if (found == nullptr) {
            return false;
        }
        for (std::size_t i = 0; i < found->registers.size(); ++i) {
            if (name == kRegisterNames[i]) {
                found->registers[i] = value;
                return true;
            }
        }
        return Fail(problem, "no register " + name);
    }

    std::size_t ReadMemory(Address address, void* bytes, std::size_t count,
                           std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        const std::size_t done = IsThere(problem) ? Accessible(address, count) : 0;
        if (done > 0) {
            std::memcpy(bytes, memory_.data() + (address - kMemoryStart), done);
        }
        if (done < count && problem->empty()) {
            *problem = Format("cannot read memory at 0x%llx", Wide(address + done));
        }
        return done;
    }

    std::size_t WriteMemory(Address address, const void* bytes, std::size_t count,
                            std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        const std::size_t done = IsThere(problem) ? Accessible(address, count) : 0;
        if (done > 0) {
            std::memcpy(memory_.data() + (address - kMemoryStart), bytes, done);
        }
        if (done < count && problem->empty()) {
            *problem = Format("cannot write memory at 0x%llx", Wide(address + done));
        }
        return done;
    }

    bool FindSymbol(const std::string& name, Address* address) override {
        for (const Symbol& symbol : kSymbols) {
            if (name == symbol.name) {
                *address = symbol.address;
                return true;
            }
        }
        return false;
    }

    std::string Describe(Address address) override {
        for (const Symbol& symbol : kSymbols) {
            if (address == symbol.address) {
                return symbol.name;
            }
            if (address > symbol.address && address - symbol.address < symbol.bytes) {
                return Format("%s+0x%llx", symbol.name, Wide(address - symbol.address));
            }
        }
        return "";
    }

    // --- Running.

    bool SetBreakpoint(Address address, int* number, std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        if (!IsThere(problem)) {
            return false;
        }
        if (Accessible(address, 1) == 0) {
            return Fail(problem, Format("there is no memory at 0x%llx", Wide(address)));
        }
        const auto found = breakpoints_.find(address);
        if (found != breakpoints_.end()) {
            *number = found->second;
            return true;
        }
        if (breakpoints_.size() >= kMostBreakpoints) {
            return Fail(problem, "too many breakpoints");
        }
        *number = ++last_breakpoint_;
        breakpoints_[address] = *number;
        return true;
    }

    bool DeleteBreakpoint(int number, std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        for (auto it = breakpoints_.begin(); it != breakpoints_.end(); ++it) {
            if (it->second == number) {
                breakpoints_.erase(it);
                return true;
            }
        }
        return Fail(problem, Format("no breakpoint %d", number));
    }

    std::vector<Breakpoint> Breakpoints() override {
        const ZTK::CLockGuard guard(lock_);
        std::vector<Breakpoint> breakpoints;
        for (const auto& [address, number] : breakpoints_) {
            breakpoints.push_back({number, address});
        }
        std::sort(breakpoints.begin(), breakpoints.end(),
                  [](const auto& a, const auto& b) { return a.number < b.number; });
        return breakpoints;
    }

    // The thread that stopped last goes straight on to the next breakpoint. Without one it runs in
    // a circle until it is interrupted.
    bool Continue(std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        Thread* thread = StoppedThread(0, problem);
        if (thread == nullptr) {
            return false;
        }
        Address& rip = thread->registers[kRip];
        const auto next = breakpoints_.upper_bound(rip);
        state_.kind = State::Kind::kRunning;
        if (next != breakpoints_.end() && (next->first - rip) % kInstructionBytes == 0) {
            rip = next->first;
            StopAt(*thread, "breakpoint");
        }
        return true;
    }

    bool Step(ThreadId id, std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        Thread* thread = StoppedThread(id, problem);
        if (thread == nullptr) {
            return false;
        }
        Address& rip = thread->registers[kRip];
        rip += kInstructionBytes;
        StopAt(*thread, breakpoints_.count(rip) > 0 ? "breakpoint" : "step");
        return true;
    }

    bool Interrupt(std::string* problem) override {
        const ZTK::CLockGuard guard(lock_);
        if (!IsThere(problem)) {
            return false;
        }
        if (state_.kind == State::Kind::kStopped) {
            return Fail(problem, "the debuggee is stopped already");
        }
        StopAt(*FindThread(state_.stop.thread), "interrupt");
        return true;
    }

  private:
    // All below: called with the lock held.

    bool IsThere(std::string* problem) const {
        problem->clear();
        return state_.kind != State::Kind::kNone || Fail(problem, state_.problem);
    }

    Thread* FindThread(ThreadId id) {
        for (Thread& thread : threads_) {
            if (thread.id == id) {
                return &thread;
            }
        }
        return nullptr;
    }

    // Null, with *problem set, when there is none of that number or it is not stopped.
    Thread* StoppedThread(ThreadId id, std::string* problem) {
        if (!IsThere(problem)) {
            return nullptr;
        }
        if (state_.kind == State::Kind::kRunning) {
            *problem = "the debuggee runs: interrupt it first";
            return nullptr;
        }
        Thread* thread = FindThread(id == 0 ? state_.stop.thread : id);
        if (thread == nullptr) {
            *problem = Format("no thread %llu", Wide(id));
        }
        return thread;
    }

    Event Stop(const Thread& thread, const char* reason) {
        Event event;
        event.kind = Event::Kind::kStopped;
        event.reason = reason;
        event.process = kProcess;
        event.thread = thread.id;
        event.address = thread.registers[kRip];
        event.symbol = Describe(event.address);
        const auto breakpoint = breakpoints_.find(event.address);
        if (breakpoint != breakpoints_.end()) {
            event.breakpoint = breakpoint->second;
        }
        return event;
    }

    void StopAt(const Thread& thread, const char* reason) {
        state_.kind = State::Kind::kStopped;
        state_.stop = Stop(thread, reason);
        sink_->OnEvent(state_.stop);
    }

    // There is no second one to launch: this agent has no debuggee from now on.
    bool End(Event event, const char* why, std::string* problem) {
        const ZTK::CLockGuard guard(lock_);
        if (!IsThere(problem)) {
            return false;
        }
        event.process = kProcess;
        state_ = State();
        state_.problem = std::string("there is no debuggee: ") + why;
        breakpoints_.clear();
        sink_->OnEvent(event);
        return true;
    }

    EventSink* const sink_;
    ZTK::CLock lock_;  // guards all below
    State state_;
    std::vector<unsigned char> memory_;
    std::vector<Thread> threads_{{1, "main", {42, 0, 7, 0x1000, 0x1180, 3, 0x1F80, 0x1040}},
                                 {2, "worker", {0, 1, 0, 0, 0x1200, 0, 0x1E80, 0x1834}},
                                 {3, "logger", {0, 0, 0, 0, 0, 0x1400, 0x1D80, 0x18A0}}};
    std::map<Address, int> breakpoints_;  // number by address
    int last_breakpoint_ = 0;
};

}  // namespace

std::unique_ptr<Target> MakeSimulatedTarget(EventSink* sink) {
    return std::make_unique<SimulatedTarget>(sink);
}

}  // namespace example
