// What a launched debuggee writes to its standard output and error.
#include "target/windows_output.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace example {

namespace {

constexpr DWORD kPipeBytes = 64 << 10;
constexpr int kMostReadsOfDrain = 64;  // other processes than the debuggee may write on and on

// Another process may have a pipe of this name already, in which case there is no pipe for us.
void PipeName(wchar_t (&name)[80]) {
    static std::atomic<unsigned> made{0};
    char text[80];
    const int length = std::snprintf(text, sizeof text, "\\\\.\\pipe\\ztk-example-output-%lu-%u",
                                     static_cast<unsigned long>(GetCurrentProcessId()), ++made);
    std::copy_n(text, length + 1, name);  // ASCII
}

}  // namespace

std::unique_ptr<OutputReader> OutputReader::Make(EventSink* sink) {
    std::unique_ptr<OutputReader> reader(new OutputReader(sink));
    return reader->Open() ? std::move(reader) : nullptr;
}

// Anonymous pipes know no overlapped reads, so that this one has a name.
bool OutputReader::Open() {
    wchar_t name[80];
    PipeName(name);
    read_end_.reset(CreateNamedPipeW(
        name, PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, 0, kPipeBytes, 0, nullptr));
    if (!read_end_) {
        return false;
    }
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    write_end_.reset(CreateFileW(name, GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr));
    if (!write_end_) {
        return false;
    }
    read_.hEvent = events_.CreateEventW(0, kCame, nullptr, true);
    if (read_.hEvent == nullptr || events_.CreateEventW(0, kStop, nullptr, true) == nullptr) {
        return false;
    }
    thread_.reset(CreateThread(nullptr, 0, Thread, this, CREATE_SUSPENDED, nullptr));
    return static_cast<bool>(thread_);
}

OutputReader::~OutputReader() {
    if (thread_) {
        events_.Signal(kStop);
        ResumeThread(thread_.get());  // if it never began
        WaitForSingleObject(thread_.get(), INFINITE);
    }
    if (reading_) {
        CancelIoEx(read_end_.get(), &read_);
        EndRead(true);
    }
    events_.CloseAll();
}

void OutputReader::CloseWriteEnd(std::uint64_t process) {
    process_ = process;
    write_end_.reset();
    ResumeThread(thread_.get());
}

DWORD WINAPI OutputReader::Thread(void* reader) {
    static_cast<OutputReader*>(reader)->ReadUntilOver();
    return 0;
}

void OutputReader::ReadUntilOver() {
    while (!over_) {
        {
            const ZTK::CLockGuard guard(lock_);
            BeginRead();
        }
        if (events_.Wait(1U << kStop | 1U << kCame, -1) != kCame) {
            return;
        }
        {
            const ZTK::CLockGuard guard(lock_);
            EndRead(false);
            if (over_) {
                Tell(pieces_.Rest());
            }
        }
        // The pipe fills up meanwhile, and then the debuggee waits.
        sink_->WaitForRoom();
    }
}

// A read that ends at once counts as one under way all the same: EndRead takes its result.
void OutputReader::BeginRead() {
    if (reading_ || over_) {
        return;
    }
    reading_ = ReadFile(read_end_.get(), buffer_, sizeof buffer_, nullptr, &read_) != FALSE ||
               ::GetLastError() == ERROR_IO_PENDING;
    over_ = !reading_;
}

// Takes the result of the read; without wait only if there is one.
void OutputReader::EndRead(bool wait) {
    DWORD count = 0;
    if (!reading_) {
        return;
    }
    if (!GetOverlappedResult(read_end_.get(), &read_, &count, wait ? TRUE : FALSE)) {
        const DWORD error = ::GetLastError();
        if (error == ERROR_IO_INCOMPLETE) {
            return;
        }
        over_ = error != ERROR_OPERATION_ABORTED;
    }
    reading_ = false;
    Tell(pieces_.Add(std::string_view(buffer_, count)));
}

void OutputReader::Drain(bool last) {
    const ZTK::CLockGuard guard(lock_);
    const bool was_reading = reading_;
    if (reading_) {
        // Either something has come, or nothing comes any more.
        CancelIoEx(read_end_.get(), &read_);
        EndRead(true);
    }
    ReadWhatIsThere();
    if (over_ || last) {
        Tell(pieces_.Rest());
        events_.Signal(kCame);  // the thread waits for a read that is not there any more
    } else if (was_reading) {
        BeginRead();
    }
}

void OutputReader::ReadWhatIsThere() {
    DWORD there = 0;
    for (int i = 0; i < kMostReadsOfDrain && !over_; ++i) {
        if (!PeekNamedPipe(read_end_.get(), nullptr, 0, nullptr, &there, nullptr) || there == 0) {
            return;
        }
        BeginRead();
        EndRead(true);
    }
}

void OutputReader::Tell(std::string_view bytes) {
    if (!bytes.empty()) {
        Event event;
        event.kind = Event::Kind::kOutput;
        event.process = process_;
        event.text = bytes;
        sink_->OnEvent(event);
    }
}

}  // namespace example
