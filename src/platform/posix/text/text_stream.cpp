// The wide text stream that "w,ccs=UNICODE" opens.
#include "platform/posix/text/text_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <new>
#include <utility>

#include "platform/memory/allocation.h"
#include "platform/posix/text/code_page.h"
#include "platform/posix/text/quiet_write.h"
#include "platform/posix/text/runtime_text.h"

namespace ZTKPosix {

class TextStream {
  public:
    TextStream() noexcept = default;
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;

    // Takes over an open file and writes the byte-order mark. False if the stream is in use.
    bool Start(int file) noexcept {
        const LockGuard guard(lock_);
        if (file_ != kClosed) {
            return false;
        }
        file_ = file;
        may_raise_sigpipe_ = MayRaiseSigpipe(file);
        used_ = 0;
        Put(0xFEFF);
        (void)Flush();  // a disk that is full shows in the writes that follow
        return true;
    }

    int Write(const wchar_t* text) noexcept {
        const LockGuard guard(lock_);
        if (file_ == kClosed) {
            return 0;
        }
        bool good = true;
        for (; *text != 0; ++text) {
            if (kRoom - used_ < kMostPerUnit) {
                good = Flush() && good;
            }
            if (*text == L'\n') {
                Put(L'\r');
            }
            Put(*text);
        }
        return good ? 0 : -1;
    }

    int FlushNow() noexcept {
        const LockGuard guard(lock_);
        return file_ == kClosed || Flush() ? 0 : -1;
    }

    int Close() noexcept {
        const LockGuard guard(lock_);
        if (file_ == kClosed) {
            return 0;
        }
        const bool good = Flush();
        // Closed to the stream first: a child forked in between must not take the number for its
        // own.
        const int file = std::exchange(file_, kClosed);
        // Not repeated on EINTR: the descriptor is gone in any case.
        (void)::close(file);  // Flush has told of write errors
        return good ? 0 : -1;
    }

    // In a child of fork, where nobody uses the stream: what is buffered is the parent's to write.
    void DropBufferInChild() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
        lock_.Reset();
        used_ = 0;
    }

    TextStream* next ZTK_GUARDED_BY(stream_pool_lock) = nullptr;

  private:
    static constexpr int kClosed = -1;
    static constexpr std::size_t kRoom = 8192;
    static constexpr std::size_t kMostPerUnit = 4;  // a line feed becomes two units of two bytes

    void Put(wchar_t unit) noexcept ZTK_REQUIRES(lock_) {
        buffer_[used_++] = static_cast<unsigned char>(unit & 0xFF);
        buffer_[used_++] = static_cast<unsigned char>(unit >> 8);
    }

    ssize_t WriteSome(const void* bytes, std::size_t count) noexcept ZTK_REQUIRES(lock_) {
        return may_raise_sigpipe_ ? WriteWithoutSigpipe(file_, bytes, count)
                                  : ::write(file_, bytes, count);
    }

    // Empties the buffer. What the system refuses is dropped, so that a full disk never holds up
    // the writer; only the second half of a unit whose first half is in the file stays, because
    // without it all that follows would be shifted by a byte.
    bool Flush() noexcept ZTK_REQUIRES(lock_) {
        std::size_t done = 0;
        while (done < used_) {
            const ssize_t written = WriteSome(buffer_ + done, used_ - done);
            if (written > 0) {
                done += static_cast<std::size_t>(written);
            } else if (written == 0 || errno != EINTR) {
                break;
            }
        }
        const bool good = done == used_;
        used_ = 0;
        if (done % 2 != 0) {
            buffer_[used_++] = buffer_[done];
        }
        return good;
    }

    Lock lock_;
    int file_ ZTK_GUARDED_BY(lock_) = kClosed;
    bool may_raise_sigpipe_ ZTK_GUARDED_BY(lock_) = false;  // constant while it is open
    std::size_t used_ ZTK_GUARDED_BY(lock_) = 0;
    unsigned char buffer_[kRoom] ZTK_GUARDED_BY(lock_);
};

namespace {

// All streams ever opened. A closed one keeps its memory, because a thread may still hold it while
// the process ends, and serves the next _wfopen.
constinit TextStream* pool ZTK_GUARDED_BY(stream_pool_lock) = nullptr;

// A stream that writes to file, or null when memory is short.
TextStream* StartStream(int file) noexcept ZTK_EXCLUDES(stream_pool_lock) {
    const LockGuard guard(stream_pool_lock);
    for (TextStream* stream = pool; stream != nullptr; stream = stream->next) {
        if (stream->Start(file)) {
            return stream;
        }
    }
    void* const block = ZTK::allocation::RuntimeAlloc(sizeof(TextStream));
    if (block == nullptr) {
        return nullptr;
    }
    auto* const stream = new (block) TextStream;
    stream->next = pool;
    pool = stream;
    (void)stream->Start(file);  // a new stream is not in use
    return stream;
}

int CreateFile(const wchar_t* path) noexcept {
    char name[PATH_MAX];
    if (WideCharToMultiByte(CP_UTF8, 0, path, -1, name, sizeof name, nullptr, nullptr) == 0) {
        return -1;
    }
    int file = -1;
    do {
        file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    } while (file == -1 && errno == EINTR);
    return file;
}

}  // namespace

TextStream* _wfopen(const wchar_t* path, const wchar_t* mode) noexcept {
    if (path == nullptr || mode == nullptr || wcscmp(mode, L"w,ccs=UNICODE") != 0) {
        return nullptr;
    }
    const int file = CreateFile(path);
    if (file == -1) {
        return nullptr;
    }
    TextStream* const stream = StartStream(file);
    if (stream == nullptr) {
        (void)::close(file);  // nothing was written to it
    }
    return stream;
}

int fputws(const wchar_t* text, TextStream* stream) noexcept {
    return stream->Write(text);
}

int fflush(TextStream* stream) noexcept {
    return stream->FlushNow();
}

int fclose(TextStream* stream) noexcept {
    return stream->Close();
}

void DropTextStreamBuffersInChild() noexcept {
    for (TextStream* stream = pool; stream != nullptr; stream = stream->next) {
        stream->DropBufferInChild();
    }
}

void TearDownTextStreams() noexcept {
    const LockGuard guard(stream_pool_lock);
    while (pool != nullptr) {
        TextStream* const stream = pool;
        pool = stream->next;
        (void)stream->Close();  // there is no caller left to tell of a write error
        stream->~TextStream();
        ZTK::allocation::RuntimeFree(stream);
    }
}

}  // namespace ZTKPosix
