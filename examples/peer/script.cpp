// Requests from a file or a pipe.
#include "peer/script.h"

#include <cstdio>
#include <utility>

#include "common/protocol.h"

namespace example {

namespace {

constexpr std::size_t kMostLines = 64;             // that are read ahead
constexpr std::size_t kMostBytes = kMaxBodyBytes;  // of a line; what is longer is no request

}  // namespace

std::shared_ptr<Script> Script::Open(Source source) {
    auto script = std::make_shared<Script>(std::move(source));
    auto kept = std::make_unique<std::shared_ptr<Script>>(script);
    HANDLE thread = CreateThread(nullptr, 0, ReadingThread, kept.get(), 0, nullptr);
    if (thread == nullptr) {
        return nullptr;
    }
    (void)kept.release();  // now the thread's
    CloseHandle(thread);
    return script;
}

Script::Script(Source source)
    : source_(std::move(source)),
      arrived_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      taken_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

Script::~Script() {
    CloseHandle(arrived_);
    CloseHandle(taken_);
}

UserInterface::Next Script::Take(std::string* line) {
    const ZTK::CLockGuard guard(lock_);
    if (!lines_.empty()) {
        *line = std::move(lines_.front());
        lines_.pop_front();
        SetEvent(taken_);
        return Next::kLine;
    }
    if (!ended_) {
        return Next::kNoneYet;
    }
    return unreadable_ ? Next::kUnreadable : Next::kEnd;
}

void Script::Print(std::string_view lines) {
    std::fwrite(lines.data(), 1, lines.size(), stdout);
    std::fflush(stdout);
}

DWORD WINAPI Script::ReadingThread(void* parameter) {
    const std::unique_ptr<std::shared_ptr<Script>> script(
        static_cast<std::shared_ptr<Script>*>(parameter));
    (*script)->ReadAll();
    return 0;
}

void Script::ReadAll() {
    std::string line;
    char bytes[4096];
    long count = 0;
    while ((count = source_(bytes, sizeof bytes)) > 0) {
        for (const char byte : std::string_view(bytes, static_cast<std::size_t>(count))) {
            if (byte == '\n') {
                Push(std::exchange(line, std::string()));
            } else if (line.size() <= kMostBytes) {
                line += byte;
            }
        }
    }
    if (!line.empty()) {
        Push(std::move(line));
    }
    const ZTK::CLockGuard guard(lock_);
    ended_ = true;
    unreadable_ = count < 0;
    SetEvent(arrived_);
}

void Script::Push(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    for (;;) {
        {
            const ZTK::CLockGuard guard(lock_);
            if (lines_.size() < kMostLines) {
                lines_.push_back(std::move(line));
                SetEvent(arrived_);
                return;
            }
        }
        WaitForSingleObject(taken_, INFINITE);
    }
}

}  // namespace example
