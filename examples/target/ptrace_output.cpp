// What a launched debuggee writes, as events.
#include "target/ptrace_output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include <ztk/scope.h>

namespace example {

namespace {

constexpr std::size_t kPiece = 16 * 1024;
constexpr int kMostPieces = 64;  // of one Drain: more than a pipe holds

}  // namespace

OutputReader::~OutputReader() {
    if (thread_ != nullptr) {
        end_.writing.Close();
        WaitForSingleObject(thread_, INFINITE);
        CloseHandle(thread_);
    }
}

bool OutputReader::Open() {
    return MakePipe(&pipe_) && MakePipe(&end_) &&
           fcntl(pipe_.reading.Get(), F_SETFL, O_NONBLOCK) == 0;
}

bool OutputReader::Start(std::uint64_t process) {
    process_ = process;
    thread_ = CreateThread(nullptr, 0, Thread, this, 0, nullptr);
    return thread_ != nullptr;
}

DWORD WINAPI OutputReader::Thread(void* reader) {
    static_cast<OutputReader*>(reader)->ReadUntilEnd();
    return 0;
}

void OutputReader::ReadUntilEnd() {
    pollfd waited[] = {{pipe_.reading.Get(), POLLIN, 0}, {end_.reading.Get(), POLLIN, 0}};
    for (;;) {
        if (poll(waited, 2, -1) < 0 && errno != EINTR) {
            return;
        }
        if (waited[1].revents != 0) {
            return;
        }
        sink_->WaitForRoom();
        if (ReadPiece() == Found::kEnd) {
            return;
        }
    }
}

OutputReader::Found OutputReader::ReadPiece() {
    char bytes[kPiece];
    const ZTK::CLockGuard guard(lock_);
    const ssize_t count = read(pipe_.reading.Get(), bytes, sizeof bytes);
    if (count > 0) {
        Tell(pieces_.Add({bytes, static_cast<std::size_t>(count)}));
        return Found::kSomething;
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return Found::kNothing;
    }
    Tell(pieces_.Rest());
    return Found::kEnd;
}

void OutputReader::Drain(bool last) {
    for (int i = 0; i < kMostPieces && ReadPiece() == Found::kSomething; ++i) {
    }
    if (last) {
        const ZTK::CLockGuard guard(lock_);
        Tell(pieces_.Rest());
    }
}

void OutputReader::Tell(std::string text) {
    if (text.empty()) {
        return;
    }
    Event event;
    event.kind = Event::Kind::kOutput;
    event.process = process_;
    event.text = std::move(text);
    sink_->OnEvent(event);
}

}  // namespace example
