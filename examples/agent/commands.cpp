// The commands that a peer's requests name.
#include "agent/commands.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "agent/backtrace.h"
#include "agent/expression.h"
#include "common/event_body.h"
#include "common/format.h"

namespace example {

namespace {

constexpr int kMostBytes = 4096;  // that one request reads or writes

bool Fail(std::string* reply, std::string problem) {
    *reply = std::move(problem);
    return false;
}

// Splits the first word off text.
std::string_view NextWord(std::string_view* text) {
    const std::size_t start = std::min(text->find_first_not_of(' '), text->size());
    const std::size_t end = std::min(text->find(' ', start), text->size());
    const std::string_view word = text->substr(start, end - start);
    text->remove_prefix(std::min(text->find_first_not_of(' ', end), text->size()));
    return word;
}

// The words of a command line; double quotes keep blanks in a word.
std::vector<std::string> SplitCommandLine(std::string_view text) {
    std::vector<std::string> words;
    bool in_word = false;
    bool quoted = false;
    for (const char c : text) {
        if (c == '"') {
            quoted = !quoted;
        }
        if (c == ' ' && !quoted) {
            in_word = false;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        if (c != '"') {
            words.back() += c;
        }
    }
    return words;
}

// An argument that is a whole number, without a sign; `otherwise` when it is missing.
bool WholeNumber(XmlBody& request, const wchar_t* argument, const char* what,
                 std::uint64_t otherwise, std::uint64_t* value, std::string* reply) {
    *value = otherwise;
    const std::string given = request.Text(argument);
    std::string_view rest = given;
    const std::string_view word = NextWord(&rest);
    if (word.empty()) {
        return true;
    }
    const char* end = word.data() + word.size();
    const auto parsed = std::from_chars(word.data(), end, *value);
    return (parsed.ec == std::errc() && parsed.ptr == end && rest.empty() && *value > 0) ||
           Fail(reply, "'" + given + "' is not the number of a " + what);
}

// The thread that a request names; 0, which is any, without one.
bool ThreadArgument(XmlBody& request, ThreadId* thread, std::string* reply) {
    return WholeNumber(request, L"thread", "thread", 0, thread, reply);
}

std::string DumpLine(Address address, const unsigned char* bytes, std::size_t count) {
    std::string line = Format("%08llx ", Wide(address));
    std::string text;
    for (std::size_t i = 0; i < 16; ++i) {
        line += i < count ? Format(" %02x", bytes[i]) : "   ";
        if (i < count) {
            text += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
        }
    }
    return line + "  " + text;
}

// What a target says when nothing could be done, or how much could.
std::string Partly(std::size_t done, std::size_t count, const char* verb, Address address,
                   const std::string& problem) {
    return done == 0 ? problem
                     : Format("%llu of %llu bytes could be %s, the memory at 0x%llx cannot",
                              Wide(done), Wide(count), verb, Wide(address + done));
}

// Adds a line to a reply of lines.
void AddLine(std::string* reply, const std::string& line) {
    *reply += (reply->empty() ? "" : "\n") + line;
}

}  // namespace

const Commands::Command Commands::kCommands[] = {
    {"help", "help", &Commands::Help},
    {"status", "status", &Commands::Status},
    {"launch", "launch PROGRAM [ARGUMENT...]", &Commands::Launch},
    {"attach", "attach PROCESS", &Commands::Attach},
    {"detach", "detach [stopped]", &Commands::Detach},
    {"kill", "kill", &Commands::Kill},
    {"modules", "modules", &Commands::Modules},
    {"threads", "threads", &Commands::Threads},
    {"registers", "registers [THREAD]", &Commands::Registers},
    {"write-register", "write-register NAME VALUE [THREAD]", &Commands::WriteRegister},
    {"read-memory", "read-memory ADDRESS COUNT", &Commands::ReadMemory},
    {"write-memory", "write-memory ADDRESS BYTE...", &Commands::WriteMemory},
    {"break", "break [ADDRESS]", &Commands::Break},
    {"delete", "delete NUMBER", &Commands::Delete},
    {"continue", "continue", &Commands::Continue},
    {"step", "step [THREAD]", &Commands::Step},
    {"interrupt", "interrupt", &Commands::Interrupt},
    {"backtrace", "backtrace [THREAD]", &Commands::Backtrace},
    {"evaluate", "evaluate EXPRESSION", &Commands::Evaluate},
    {"echo", "echo TEXT", &Commands::Echo},
};

bool Commands::Execute(const std::string& name, XmlBody& request, std::string* reply) {
    reply->clear();
    for (const Command& command : kCommands) {
        if (name == command.name) {
            return (this->*command.run)(request, reply);
        }
    }
    return Fail(reply, "unknown command '" + name + "', try help");
}

bool Commands::Help(XmlBody&, std::string* reply) {
    for (const Command& command : kCommands) {
        AddLine(reply, command.usage);
    }
    AddLine(reply, "shutdown");
    return true;
}

bool Commands::Status(XmlBody&, std::string* reply) {
    const State state = target_.GetState();
    switch (state.kind) {
        case State::Kind::kNone:
            *reply = state.problem.empty() ? "there is no debuggee" : state.problem;
            break;
        case State::Kind::kRunning:
            *reply = Format("process %llu runs", Wide(state.process));
            break;
        case State::Kind::kStopped:
            *reply = Format("process %llu is stopped: ", Wide(state.process));
            *reply += DescribeStop(state.stop);
            break;
    }
    return true;
}

bool Commands::Launch(XmlBody& request, std::string* reply) {
    const std::vector<std::string> words = SplitCommandLine(request.Text(L"command-line"));
    if (words.empty()) {
        return Fail(reply, "which program?");
    }
    if (!target_.Launch(words, reply)) {
        return false;
    }
    *reply = Format("process %llu launched", Wide(target_.GetState().process));
    return true;
}

bool Commands::Attach(XmlBody& request, std::string* reply) {
    std::uint64_t process = 0;
    if (!WholeNumber(request, L"process", "process", 0, &process, reply)) {
        return false;
    }
    if (process == 0) {
        return Fail(reply, "which process?");
    }
    if (!target_.Attach(process, reply)) {
        return false;
    }
    *reply = Format("process %llu attached", Wide(process));
    return true;
}

bool Commands::Detach(XmlBody& request, std::string* reply) {
    const std::string how = request.Text(L"how");
    if (!how.empty() && how != "stopped") {
        return Fail(reply, "detach takes 'stopped' or nothing, not '" + how + "'");
    }
    if (!target_.Detach(how == "stopped", reply)) {
        return false;
    }
    *reply = how.empty() ? "detached" : "detached, and left stopped";
    return true;
}

bool Commands::Kill(XmlBody&, std::string* reply) {
    if (!target_.Kill(reply)) {
        return false;
    }
    *reply = "killed";
    return true;
}

bool Commands::Modules(XmlBody&, std::string* reply) {
    std::vector<Module> modules;
    if (!target_.Modules(&modules, reply)) {
        return false;
    }
    for (const Module& module : modules) {
        AddLine(reply,
                Format("%08llx-%08llx ", Wide(module.start), Wide(module.end - 1)) + module.path);
    }
    return true;
}

bool Commands::Threads(XmlBody&, std::string* reply) {
    std::vector<ThreadState> threads;
    if (!target_.Threads(&threads, reply)) {
        return false;
    }
    for (const ThreadState& thread : threads) {
        const std::string name =
            Format("%llu %-8s ", Wide(thread.id), thread.name.substr(0, 100).c_str());
        AddLine(reply,
                name + (thread.address == 0 ? "runs" : "stopped at " + WithSymbol(thread.address)));
    }
    return true;
}

bool Commands::Registers(XmlBody& request, std::string* reply) {
    ThreadId thread = 0;
    std::vector<Register> registers;
    if (!ThreadArgument(request, &thread, reply) || !target_.Registers(thread, &registers, reply)) {
        return false;
    }
    int width = 0;
    for (const Register& one : registers) {
        width = std::max(width, static_cast<int>(one.name.size()));
    }
    for (std::size_t i = 0; i < registers.size(); ++i) {
        *reply += (i == 0       ? ""
                   : i % 4 == 0 ? "\n"
                                : " ") +
                  Format("%*s=%016llx", width, registers[i].name.c_str(), Wide(registers[i].value));
    }
    return true;
}

bool Commands::WriteRegister(XmlBody& request, std::string* reply) {
    const std::string name = request.Text(L"name");
    ThreadId thread = 0;
    std::uint64_t value = 0;
    if (name.empty()) {
        return Fail(reply, "which register?");
    }
    if (!ThreadArgument(request, &thread, reply) || !Value(request.Text(L"value"), &value, reply) ||
        !target_.WriteRegister(thread, name, value, reply)) {
        return false;
    }
    *reply = name + Format(" is 0x%llx now", Wide(value));
    return true;
}

bool Commands::ReadMemory(XmlBody& request, std::string* reply) {
    Address address = 0;
    if (!Value(request.Text(L"address"), &address, reply)) {
        return false;
    }
    const int number = request.Number(L"count", 0);
    if (number < 1 || number > kMostBytes) {
        return Fail(reply, Format("the count must be 1 to %d", kMostBytes));
    }
    const auto count = static_cast<std::size_t>(number);
    std::vector<unsigned char> bytes(count);
    std::string problem;
    const std::size_t done = target_.ReadMemory(address, bytes.data(), count, &problem);
    if (done < count) {
        return Fail(reply, Partly(done, count, "read", address, problem));
    }
    for (std::size_t at = 0; at < count; at += 16) {
        AddLine(reply, DumpLine(address + at, &bytes[at], std::min<std::size_t>(16, count - at)));
    }
    return true;
}

bool Commands::WriteMemory(XmlBody& request, std::string* reply) {
    Address address = 0;
    std::vector<unsigned char> bytes;
    if (!Value(request.Text(L"address"), &address, reply) ||
        !ByteValues(request.Text(L"bytes"), &bytes, reply)) {
        return false;
    }
    std::string problem;
    const std::size_t done = target_.WriteMemory(address, bytes.data(), bytes.size(), &problem);
    if (done < bytes.size()) {
        return Fail(reply, Partly(done, bytes.size(), "written", address, problem));
    }
    *reply = Format("%llu bytes written", Wide(bytes.size()));
    return true;
}

bool Commands::Break(XmlBody& request, std::string* reply) {
    Address address = 0;
    int number = 0;
    if (request.Has(L"address") && (!Value(request.Text(L"address"), &address, reply) ||
                                    !target_.SetBreakpoint(address, &number, reply))) {
        return false;
    }
    for (const Breakpoint& breakpoint : target_.Breakpoints()) {
        AddLine(reply,
                Format("breakpoint %d at ", breakpoint.number) + WithSymbol(breakpoint.address));
    }
    if (reply->empty()) {
        *reply = "no breakpoints";
    }
    return true;
}

bool Commands::Delete(XmlBody& request, std::string* reply) {
    std::uint64_t number = 0;
    if (!WholeNumber(request, L"number", "breakpoint", 0, &number, reply)) {
        return false;
    }
    if (number == 0) {
        return Fail(reply, "which breakpoint?");
    }
    if (number > 0x7FFFFFFF) {
        return Fail(reply, Format("no breakpoint %llu", Wide(number)));
    }
    if (!target_.DeleteBreakpoint(static_cast<int>(number), reply)) {
        return false;
    }
    *reply = Format("breakpoint %llu deleted", Wide(number));
    return true;
}

bool Commands::Continue(XmlBody&, std::string* reply) {
    if (!target_.Continue(reply)) {
        return false;
    }
    *reply = "running";
    return true;
}

bool Commands::Step(XmlBody& request, std::string* reply) {
    ThreadId thread = 0;
    if (!ThreadArgument(request, &thread, reply)) {
        return false;
    }
    const ThreadId stepped = thread == 0 ? target_.GetState().stop.thread : thread;
    if (!target_.Step(thread, reply)) {
        return false;
    }
    *reply = Format("thread %llu steps", Wide(stepped));
    return true;
}

bool Commands::Interrupt(XmlBody&, std::string* reply) {
    if (!target_.Interrupt(reply)) {
        return false;
    }
    *reply = "interrupting";
    return true;
}

bool Commands::Backtrace(XmlBody& request, std::string* reply) {
    ThreadId thread = 0;
    std::vector<Address> addresses;
    if (!ThreadArgument(request, &thread, reply) ||
        !example::Backtrace(target_, thread, &addresses, reply)) {
        return false;
    }
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        AddLine(reply, Format("#%-2d ", static_cast<int>(i)) + WithSymbol(addresses[i]));
    }
    return true;
}

bool Commands::Evaluate(XmlBody& request, std::string* reply) {
    std::uint64_t value = 0;
    if (!Value(request.Text(L"expression"), &value, reply)) {
        return false;
    }
    *reply = Format("%lld (", static_cast<long long>(value)) + WithSymbol(value) + ")";
    return true;
}

bool Commands::Echo(XmlBody& request, std::string* reply) {
    *reply = request.Text(L"text");
    return true;
}

// The value of an expression in which the registers of the thread that stopped, and the names of
// the debuggee's functions and globals, are known.
bool Commands::Value(std::string_view expression, std::uint64_t* value, std::string* reply) {
    std::vector<Register> registers;
    std::string no_registers;  // why there are none
    bool all_known = true;
    const Names names = [&](std::string_view name, std::uint64_t* found) {
        if (registers.empty() && no_registers.empty()) {
            (void)target_.Registers(0, &registers, &no_registers);  // then only symbols are known
        }
        for (const Register& one : registers) {
            if (name == one.name) {
                *found = one.value;
                return true;
            }
        }
        all_known = target_.FindSymbol(std::string(name), found);
        return all_known;
    };
    const bool ok = EvaluateExpression(expression, names, value, reply);
    if (!all_known && !no_registers.empty()) {
        *reply += "; registers are not known: " + no_registers;
    }
    return ok;
}

// Each word is an expression that gives a byte.
bool Commands::ByteValues(std::string_view words, std::vector<unsigned char>* bytes,
                          std::string* reply) {
    while (!words.empty()) {
        std::uint64_t byte = 0;
        if (!Value(NextWord(&words), &byte, reply)) {
            return false;
        }
        if (byte > 0xFF) {
            return Fail(reply, Format("0x%llx is more than a byte", Wide(byte)));
        }
        bytes->push_back(static_cast<unsigned char>(byte));
    }
    return (!bytes->empty() && bytes->size() <= kMostBytes) || Fail(reply, "which bytes?");
}

// "0x401136 work+0x4", or the number alone.
std::string Commands::WithSymbol(Address address) {
    const std::string symbol = target_.Describe(address);
    return Format("0x%llx", Wide(address)) + (symbol.empty() ? "" : " " + symbol);
}

}  // namespace example
