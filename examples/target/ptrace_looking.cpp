// Memory, registers, threads, modules and breakpoints of the debuggee.
#include <cerrno>

#include "target/proc_files.h"
#include "target/ptrace_debuggee.h"
#include "target/ptrace_text.h"

namespace example {

namespace {

// What a transfer that ended too early has to say.
void ExplainPart(std::size_t done, std::size_t count, Address address, const char* what,
                 std::string* problem) {
    if (done < count) {
        *problem = std::to_string(done) + " of " + std::to_string(count) + " bytes could be " +
                   what + ", the memory at " + Hex(address + done) + " cannot";
    }
}

}  // namespace

bool Debuggee::IsControlled(std::string* problem) const {
    return kind_ != State::Kind::kNone || Fail(problem, GetState().problem);
}

bool Debuggee::IsStopped(std::string* problem) const {
    return IsControlled(problem) && (kind_ == State::Kind::kStopped ||
                                     Fail(problem, "the debuggee runs: interrupt it first"));
}

// 0: the one that the last stop was about.
TracedThread* Debuggee::StoppedThread(ThreadId id, std::string* problem) {
    if (!IsStopped(problem)) {
        return nullptr;
    }
    const ThreadId wanted = id != 0 ? id : stop_.thread;
    TracedThread* thread = wanted > INT32_MAX ? nullptr : threads_.Find(static_cast<pid_t>(wanted));
    if (thread == nullptr || thread->has_ended) {
        (void)Fail(problem, "there is no thread " + std::to_string(wanted));
        return nullptr;
    }
    if (!thread->stopped) {
        (void)Fail(problem,
                   "thread " + std::to_string(wanted) + " does not stop, it waits in the system");
        return nullptr;
    }
    return thread;
}

bool Debuggee::Modules(std::vector<Module>* modules, std::string* problem) {
    if (!IsControlled(problem)) {
        return false;
    }
    *modules = ProcessModules::Now(threads_.Living());
    return true;
}

bool Debuggee::Threads(std::vector<ThreadState>* threads, std::string* problem) {
    if (!IsControlled(problem)) {
        return false;
    }
    threads->clear();
    for (const auto& [id, thread] : threads_.All()) {
        if (thread.has_ended) {
            continue;
        }
        ThreadState state;
        state.id = static_cast<ThreadId>(id);
        state.name = ThreadName(process_, id);
        ThreadRegisters registers;
        if (kind_ == State::Kind::kStopped && thread.stopped && registers.Read(id)) {
            state.address = registers.Next();
        }
        threads->push_back(state);
    }
    return true;
}

bool Debuggee::Registers(ThreadId id, std::vector<Register>* list, std::string* problem) {
    const TracedThread* thread = StoppedThread(id, problem);
    if (thread == nullptr) {
        return false;
    }
    ThreadRegisters registers;
    if (!registers.Read(thread->id)) {
        return Fail(problem, "thread " + std::to_string(thread->id) + " is gone");
    }
    *list = registers.List();
    return true;
}

bool Debuggee::WriteRegister(ThreadId id, const std::string& name, std::uint64_t value,
                             std::string* problem) {
    const TracedThread* thread = StoppedThread(id, problem);
    if (thread == nullptr) {
        return false;
    }
    ThreadRegisters registers;
    if (!registers.Read(thread->id)) {
        return Fail(problem, "thread " + std::to_string(thread->id) + " is gone");
    }
    if (!registers.Set(name, value)) {
        return Fail(problem, "there is no register " + name);
    }
    if (!registers.Write(thread->id)) {
        return Fail(problem, "the system does not let " + name + " have the value " + Hex(value) +
                                 ": " + SystemText(errno));
    }
    return true;
}

std::size_t Debuggee::ReadMemory(Address address, void* bytes, std::size_t count,
                                 std::string* problem) {
    if (!IsControlled(problem)) {
        return 0;
    }
    const std::size_t done = memory_.Read(address, bytes, count);
    breakpoints_.Hide(address, static_cast<unsigned char*>(bytes), done);
    ExplainPart(done, count, address, "read", problem);
    return done;
}

std::size_t Debuggee::WriteMemory(Address address, const void* bytes, std::size_t count,
                                  std::string* problem) {
    if (!IsControlled(problem)) {
        return 0;
    }
    const auto* first = static_cast<const unsigned char*>(bytes);
    std::vector<unsigned char> written(first, first + count);
    breakpoints_.Insert(address, written.data(), count);
    const std::size_t done = memory_.Write(address, written.data(), count);
    breakpoints_.KeepDisplaced(address, first, done);
    ExplainPart(done, count, address, "written", problem);
    return done;
}

bool Debuggee::FindSymbol(const std::string& name, Address* address) {
    return kind_ != State::Kind::kNone && modules_.Find(name, address);
}

std::string Debuggee::Describe(Address address) {
    return kind_ == State::Kind::kNone ? "" : modules_.Describe(address);
}

bool Debuggee::SetBreakpoint(Address address, int* number, std::string* problem) {
    if (!IsStopped(problem)) {
        return false;
    }
    if (const BreakpointTable::Entry* entry = breakpoints_.FindAt(address)) {
        *number = entry->number;
        return true;
    }
    unsigned char displaced = 0;
    if (memory_.Read(address, &displaced, 1) != 1) {
        return Fail(problem, "there is no memory at " + Hex(address) + " for a breakpoint");
    }
    *number = breakpoints_.Add(address, displaced);
    breakpoints_.FindAt(address)->in_memory = false;
    if (!ArrangeBreakpoints()) {
        breakpoints_.Remove(*number);
        return Fail(problem, "no breakpoint can be written to the memory at " + Hex(address));
    }
    return true;
}

bool Debuggee::DeleteBreakpoint(int number, std::string* problem) {
    if (!IsStopped(problem)) {
        return false;
    }
    const BreakpointTable::Entry* entry = breakpoints_.FindNumber(number);
    if (entry == nullptr) {
        return Fail(problem, "there is no breakpoint " + std::to_string(number));
    }
    if (entry->in_memory) {
        // The memory may have been unmapped meanwhile: then there is nothing to take out.
        (void)memory_.Write(entry->address, &entry->displaced, 1);
    }
    breakpoints_.Remove(number);
    return true;
}

// Sees to it that exactly those breakpoints are in memory that ought to be. False when one of them
// could not be put in.
bool Debuggee::ArrangeBreakpoints() {
    bool all_there = true;
    for (BreakpointTable::Entry* entry : breakpoints_.All()) {
        const bool wanted = vforking_.empty() && !(step_ && step_->lifted == entry->number);
        if (wanted == entry->in_memory) {
            continue;
        }
        const unsigned char byte = wanted ? BreakpointTable::kInstruction : entry->displaced;
        const bool written = memory_.Write(entry->address, &byte, 1) == 1;
        entry->in_memory = wanted && written;
        all_there &= !wanted || written;
    }
    return all_there;
}

}  // namespace example
