// Events as the peer shows them.
#include "peer/event_text.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/event_body.h"
#include "common/format.h"

namespace example {

namespace {

constexpr std::size_t kLongestLine = 4096;  // bytes of output that are shown as one line

constexpr Event::Kind kKinds[] = {
    Event::Kind::kStopped,     Event::Kind::kExited,       Event::Kind::kDetached,
    Event::Kind::kOutput,      Event::Kind::kModuleLoaded, Event::Kind::kThreadStarted,
    Event::Kind::kThreadEnded,
};

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
            return "stopped: " + DescribeStop(event);
        case Event::Kind::kExited:
            return "exited: process " + std::to_string(event.process) + ", " + End(event);
        case Event::Kind::kDetached:
            return "detached: process " + std::to_string(event.process);
        case Event::Kind::kModuleLoaded:
            return "module-loaded: " + event.text + Format(" at 0x%llx", Wide(event.address));
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

bool IsEventName(const std::string& name) {
    return std::any_of(std::begin(kKinds), std::end(kKinds),
                       [&name](Event::Kind kind) { return name == NameOf(kind); });
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
