// A little simulated debuggee.
#include "target.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "expression.h"

namespace example {

namespace {

constexpr std::uint64_t kMemoryStart = 0x1000;
constexpr std::size_t kMemoryBytes = 0x1000;
constexpr int kMostRead = 512;

constexpr const char* kRegisterNames[] = {"rax", "rbx", "rcx", "rdx", "rsi", "rdi", "rsp", "rip"};
constexpr std::size_t kRip = 7;

struct Module {
    std::uint64_t start;
    std::uint64_t bytes;
    const char* name;
};
constexpr Module kModules[] = {
    {0x1000, 0x0800, "/opt/sample/bin/sample"},
    {0x1800, 0x0400, "/opt/sample/lib/libsample.so"},
};

template <class... Values>
std::string Format(const char* format, Values... values) {
    char text[200];
    const int length = std::snprintf(text, sizeof text, format, values...);
    return std::string(text, static_cast<std::size_t>(std::clamp(length, 0, 199)));
}

// For printf's %ll sizes: std::uint64_t is a different type on each target.
unsigned long long Wide(std::uint64_t value) {
    return value;
}

class LockGuard {
  public:
    explicit LockGuard(ZTK::CLock* lock) : lock_(lock) { lock_->Lock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    ~LockGuard() { lock_->Unlock(); }

  private:
    ZTK::CLock* lock_;
};

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

std::string DumpLine(std::uint64_t address, const unsigned char* bytes, std::size_t count) {
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

}  // namespace

const Target::Command Target::kCommands[] = {
    {"help", "help", &Target::Help},
    {"registers", "registers [THREAD]", &Target::Registers},
    {"read-memory", "read-memory ADDRESS COUNT", &Target::ReadMemory},
    {"write-memory", "write-memory ADDRESS BYTE...", &Target::WriteMemory},
    {"threads", "threads", &Target::Threads},
    {"modules", "modules", &Target::Modules},
    {"break", "break [ADDRESS]", &Target::Break},
    {"step", "step [THREAD]", &Target::Step},
    {"evaluate", "evaluate EXPRESSION", &Target::Evaluate},
    {"echo", "echo TEXT", &Target::Echo},
};

Target::Target()
    : memory_(kMemoryBytes),
      threads_{{1, "main", {42, 0, 7, 0x1000, 0x1180, 3, 0x1F80, 0x1040}},
               {2, "worker", {0, 1, 0, 0, 0x1200, 0, 0x1E80, 0x1834}},
               {3, "logger", {0, 0, 0, 0, 0, 0x1400, 0x1D80, 0x18A0}}} {
    for (std::size_t i = 0; i < memory_.size(); ++i) {
        memory_[i] = static_cast<unsigned char>(i * 31 + i / 16 * 7);
    }
    constexpr std::string_view kText = "Hello from the debuggee!";
    std::copy(kText.begin(), kText.end(), memory_.begin());
}

bool Target::Execute(const std::string& name, XmlBody& request, std::string* reply) {
    reply->clear();
    for (const Command& command : kCommands) {
        if (name != command.name) {
            continue;
        }
        const LockGuard guard(&lock_);  // reading the request may throw
        return (this->*command.run)(request, reply);
    }
    return Fail(reply, "unknown command '" + name + "', try help");
}

bool Target::Help(XmlBody&, std::string* reply) {
    for (const Command& command : kCommands) {
        *reply += std::string(reply->empty() ? "" : "\n") + command.usage;
    }
    return true;
}

bool Target::Registers(XmlBody& request, std::string* reply) {
    const int id = request.Number(L"thread", 1);
    for (const Thread& thread : threads_) {
        if (thread.id != id) {
            continue;
        }
        for (std::size_t i = 0; i < thread.registers.size(); ++i) {
            *reply += Format("%s%s=%016llx",
                             i == 0       ? ""
                             : i % 4 == 0 ? "\n"
                                          : " ",
                             kRegisterNames[i], Wide(thread.registers[i]));
        }
        return true;
    }
    return Fail(reply, Format("no thread %d", id));
}

bool Target::ReadMemory(XmlBody& request, std::string* reply) {
    std::uint64_t address = 0;
    if (!Value(request.Text(L"address"), &address, reply)) {
        return false;
    }
    const int number = request.Number(L"count", 0);
    if (number < 1 || number > kMostRead) {
        return Fail(reply, Format("the count must be 1 to %d", kMostRead));
    }
    const auto count = static_cast<std::uint64_t>(number);
    // Not address + count: that sum may wrap.
    if (address < kMemoryStart || address - kMemoryStart > kMemoryBytes - count) {
        return Fail(reply, Format("cannot read memory at 0x%llx", Wide(address)));
    }
    const unsigned char* bytes = memory_.data() + (address - kMemoryStart);
    for (std::uint64_t done = 0; done < count; done += 16) {
        const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(16, count - done));
        *reply += (done == 0 ? "" : "\n") + DumpLine(address + done, bytes + done, piece);
    }
    return true;
}

bool Target::WriteMemory(XmlBody& request, std::string* reply) {
    std::uint64_t address = 0;
    if (!Value(request.Text(L"address"), &address, reply)) {
        return false;
    }
    const std::string text = request.Text(L"bytes");
    std::string_view words = text;
    std::vector<unsigned char> bytes;
    while (!words.empty()) {
        std::uint64_t byte = 0;
        if (!Value(NextWord(&words), &byte, reply)) {
            return false;
        }
        if (byte > 0xFF) {
            return Fail(reply, Format("0x%llx is more than a byte", Wide(byte)));
        }
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    if (bytes.empty() || bytes.size() > kMemoryBytes) {
        return Fail(reply, "which bytes?");
    }
    if (address < kMemoryStart || address - kMemoryStart > kMemoryBytes - bytes.size()) {
        return Fail(reply, Format("cannot write memory at 0x%llx", Wide(address)));
    }
    std::copy(bytes.begin(), bytes.end(),
              memory_.begin() + static_cast<std::ptrdiff_t>(address - kMemoryStart));
    *reply = Format("%llu bytes written", Wide(bytes.size()));
    return true;
}

bool Target::Threads(XmlBody&, std::string* reply) {
    for (const Thread& thread : threads_) {
        *reply += Format("%s%d %-8s stopped at 0x%llx", reply->empty() ? "" : "\n", thread.id,
                         thread.name, Wide(thread.registers[kRip]));
    }
    return true;
}

bool Target::Modules(XmlBody&, std::string* reply) {
    for (const Module& module : kModules) {
        *reply += Format("%s%08llx-%08llx %s", reply->empty() ? "" : "\n", Wide(module.start),
                         Wide(module.start + module.bytes - 1), module.name);
    }
    return true;
}

bool Target::Break(XmlBody& request, std::string* reply) {
    std::uint64_t address = 0;
    if (request.Has(L"address")) {
        if (!Value(request.Text(L"address"), &address, reply)) {
            return false;
        }
        if (breakpoints_.size() >= 100) {
            return Fail(reply, "too many breakpoints");
        }
        breakpoints_.emplace(address, static_cast<int>(breakpoints_.size()) + 1);
    }
    for (const auto& [where, number] : breakpoints_) {
        *reply +=
            Format("%sbreakpoint %d at 0x%llx", reply->empty() ? "" : "\n", number, Wide(where));
    }
    if (breakpoints_.empty()) {
        *reply = "no breakpoints";
    }
    return true;
}

// Every instruction of this target is four bytes long.
bool Target::Step(XmlBody& request, std::string* reply) {
    const int id = request.Number(L"thread", 1);
    for (Thread& thread : threads_) {
        if (thread.id != id) {
            continue;
        }
        std::uint64_t& rip = thread.registers[kRip];
        rip += 4;
        const bool hit = breakpoints_.count(rip) > 0;
        *reply = Format("thread %d %s 0x%llx", thread.id,
                        hit ? "hit the breakpoint at" : "stopped at", Wide(rip));
        return true;
    }
    return Fail(reply, Format("no thread %d", id));
}

bool Target::Evaluate(XmlBody& request, std::string* reply) {
    std::uint64_t value = 0;
    if (!Value(request.Text(L"expression"), &value, reply)) {
        return false;
    }
    *reply = Format("%lld (0x%llx)", static_cast<long long>(value), Wide(value));
    return true;
}

bool Target::Echo(XmlBody& request, std::string* reply) {
    *reply = request.Text(L"text");
    return true;
}

// The value of an expression in which the first thread's registers are known by name.
bool Target::Value(std::string_view expression, std::uint64_t* value, std::string* reply) {
    const Names names = [this](std::string_view name, std::uint64_t* found) {
        for (std::size_t i = 0; i < threads_[0].registers.size(); ++i) {
            if (name == kRegisterNames[i]) {
                *found = threads_[0].registers[i];
                return true;
            }
        }
        return false;
    };
    return EvaluateExpression(expression, names, value, reply);
}

}  // namespace example
