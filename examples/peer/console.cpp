// A user at a terminal.
#include "peer/console.h"

#include <cstdio>
#include <utility>

namespace example {

namespace {

constexpr std::string_view kClearLine = "\r\033[K";

void Show(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

std::shared_ptr<Console> Console::Open(std::string prompt) {
    auto console = std::make_shared<Console>(std::move(prompt));
    auto kept = std::make_unique<std::shared_ptr<Console>>(console);
    HANDLE thread = CreateThread(nullptr, 0, ReadingThread, kept.get(), 0, nullptr);
    if (thread == nullptr) {
        console->End();
        return nullptr;
    }
    (void)kept.release();  // now the thread's
    CloseHandle(thread);
    return console;
}

Console::Console(std::string prompt)
    : prompt_(std::move(prompt)),
      arrived_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      asked_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      terminal_(std::in_place) {}

Console::~Console() {
    CloseHandle(arrived_);
    CloseHandle(asked_);
}

void Console::End() {
    const ZTK::CLockGuard guard(lock_);
    if (asking_ == Asking::kNow) {
        Show(kClearLine);
    }
    asking_ = Asking::kEnded;
    std::fflush(stdout);
    terminal_.reset();
}

UserInterface::Next Console::Take(std::string* line) {
    const ZTK::CLockGuard guard(lock_);
    if (asking_ == Asking::kAnswered) {
        asking_ = Asking::kNotYet;
        *line = editor_.TakeLine();
        return Next::kLine;
    }
    if (asking_ == Asking::kEnded) {
        return Next::kEnd;
    }
    if (asking_ == Asking::kNotYet) {
        asking_ = Asking::kNow;
        Redraw();
        SetEvent(asked_);
    }
    return Next::kNoneYet;
}

void Console::Print(std::string_view lines) {
    const ZTK::CLockGuard guard(lock_);
    const bool prompted = asking_ == Asking::kNow;
    if (prompted) {
        Show(kClearLine);
    }
    Show(lines);
    if (prompted) {
        Redraw();
    }
    std::fflush(stdout);
}

// REQUIRES: the lock is held.
void Console::Redraw() {
    Show(kClearLine);
    Show(prompt_);
    Show(editor_.Text());
    std::fflush(stdout);
}

DWORD WINAPI Console::ReadingThread(void* parameter) {
    const std::unique_ptr<std::shared_ptr<Console>> console(
        static_cast<std::shared_ptr<Console>*>(parameter));
    (*console)->ReadAll();
    return 0;
}

// What is typed ahead waits until it is asked for, so that each line is shown behind its prompt.
void Console::ReadAll() {
    for (;;) {
        const std::string typed = Terminal::Read();
        if (typed.empty()) {
            break;
        }
        for (const char byte : typed) {
            while (!Feed(byte)) {
                WaitForSingleObject(asked_, INFINITE);
            }
        }
    }
    const ZTK::CLockGuard guard(lock_);
    asking_ = Asking::kEnded;
    SetEvent(arrived_);
}

// False when nobody asks for it yet.
bool Console::Feed(char byte) {
    const ZTK::CLockGuard guard(lock_);
    if (asking_ != Asking::kNow) {
        return asking_ == Asking::kEnded;
    }
    const std::string before = editor_.Text();
    const LineEditor::Outcome outcome = editor_.Feed(byte);
    if (outcome != LineEditor::Outcome::kEditing) {
        asking_ = outcome == LineEditor::Outcome::kLine ? Asking::kAnswered : Asking::kEnded;
        Show("\n");
        SetEvent(arrived_);
    } else if (editor_.Text().substr(0, before.size()) == before) {
        Show(std::string_view(editor_.Text()).substr(before.size()));  // also in a long line
    } else {
        Redraw();
    }
    std::fflush(stdout);
    return true;
}

}  // namespace example
