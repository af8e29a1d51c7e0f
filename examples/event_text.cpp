// Events as the peer shows them.
#include "event_text.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

namespace example {

namespace {

constexpr std::size_t kLongestLine = 4096;  // bytes of output that are shown as one line

constexpr struct {
    Event::Kind kind;
    const char* name;
} kNames[] = {
    {Event::Kind::kStopped, "stopped"},
    {Event::Kind::kExited, "exited"},
    {Event::Kind::kDetached, "detached"},
    {Event::Kind::kOutput, "output"},
    {Event::Kind::kModuleLoaded, "module-loaded"},
    {Event::Kind::kThreadStarted, "thread-started"},
    {Event::Kind::kThreadEnded, "thread-ended"},
};

std::string Hex(std::uint64_t value) {
    char text[20];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

// "breakpoint 1 in thread 71 at work (0x401136)"
std::string Stop(const Event& stop) {
    std::string text = stop.reason;
    if (stop.reason == "breakpoint" && stop.breakpoint != 0) {
        text += " " + std::to_string(stop.breakpoint);
    }
    const std::string address = Hex(stop.address);
    text += " in thread " + std::to_string(stop.thread) + " at ";
    text += stop.symbol.empty() ? address : stop.symbol + " (" + address + ")";
    return stop.text.empty() ? text : text + ": " + stop.text;
}

std::string End(const Event& exit) {
    if (exit.reason == "exit") {
        return "with code " + std::to_string(exit.code);
    }
    return exit.reason == "signal" ? "by signal " + std::to_string(exit.code) : exit.reason;
}

// A line without its mark; empty for output.
std::string Sentence(const Event& event) {
    switch (event.kind) {
        case Event::Kind::kStopped:
            return "stopped: " + Stop(event);
        case Event::Kind::kExited:
            return "exited: process " + std::to_string(event.process) + ", " + End(event);
        case Event::Kind::kDetached:
            return "detached: process " + std::to_string(event.process);
        case Event::Kind::kModuleLoaded:
            return "module-loaded: " + event.text + " at " + Hex(event.address);
        case Event::Kind::kThreadStarted:
            return "thread-started: " + std::to_string(event.thread);
        case Event::Kind::kThreadEnded:
            return "thread-ended: " + std::to_string(event.thread);
        case Event::Kind::kOutput:
            break;
    }
    return "";
}

std::string OutputLine(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return "| " + line + "\n";
}

}  // namespace

const char* NameOf(Event::Kind kind) {
    for (const auto& [known, name] : kNames) {
        if (known == kind) {
            return name;
        }
    }
    return "";
}

bool IsEventName(const std::string& name) {
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&name](const auto& known) { return name == known.name; });
}

std::string EventText::Lines(const Event& event) {
    if (event.kind != Event::Kind::kOutput) {
        return Rest() + "* " + Sentence(event) + "\n";
    }
    std::string lines;
    AddOutput(event.text, &lines);
    return lines;
}

void EventText::AddOutput(const std::string& text, std::string* lines) {
    for (const char byte : text) {
        if (byte != '\n') {
            unfinished_ += byte;
        }
        if (byte == '\n' || unfinished_.size() >= kLongestLine) {
            *lines += OutputLine(std::exchange(unfinished_, std::string()));
        }
    }
}

std::string EventText::Rest() {
    return unfinished_.empty() ? "" : OutputLine(std::exchange(unfinished_, std::string()));
}

}  // namespace example
