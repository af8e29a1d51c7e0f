// The wide text stream that "w,ccs=UNICODE" opens.
#include "platform/posix/text/text_stream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>
#include <new>
#include <utility>

#include "platform/memory/allocation.h"
#include "platform/posix/text/code_page.h"
#include "platform/posix/text/quiet_write.h"
#include "platform/posix/text/runtime_text.h"
#include "platform/posix/text/unicode.h"
#include "platform/posix/text/vector_text.h"

namespace ZTKPosix {

namespace {

// The size that the process may let file reach. A write behind it would be answered by a signal,
// which ends a host that does not expect it.
std::uint64_t LimitOf(int file) noexcept {
    struct stat info {};
    struct rlimit limit {};
    const bool limited = ::fstat(file, &info) == 0 && S_ISREG(info.st_mode) &&
                         ::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
    return limited ? limit.rlim_cur : std::numeric_limits<std::uint64_t>::max();
}

std::int64_t Milliseconds() noexcept {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

class TextStream {
  public:
    TextStream() noexcept = default;
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;

    // Takes over an open file; the byte-order mark is buffered. False if the stream is in use.
    // Never waits for a writer: the caller holds a lock that a fork waits for.
    bool Start(int file) noexcept {
        if (!lock_.TryAcquire()) {
            return false;
        }
        const bool free = file_ == kClosed;
        if (free) {
            Begin(file);
        }
        lock_.Release();
        return free;
    }
    int Write(const wchar_t* text) noexcept {
        const LockGuard guard(lock_);
        if (file_ == kClosed) {
            return 0;
        }
        bool good = true;
        while (*text != 0) {
            text = Take(text);
            if (*text != 0) {
                good = Flush() && good;
            }
        }
        return good ? 0 : -1;
    }

    int FlushNow() noexcept {
        const LockGuard guard(lock_);
        return file_ == kClosed || Flush() ? 0 : -1;
    }

    int Close() noexcept {
        // Read by a writer that waits for the file. Those that wait for the writer's lock find the
        // file stalled then.
        give_up_at_.store(Milliseconds() + kPatienceAtClose, std::memory_order_relaxed);
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
        owed_ = 0;  // the parent writes it
    }

    TextStream* next ZTK_GUARDED_BY(stream_pool_lock) = nullptr;

  private:
    static constexpr int kClosed = -1;
    // Room for what the trace log writes between two flushes: each call of the system for a part of
    // it costs more than the bytes.
    static constexpr std::size_t kRoom = 32768;
    static constexpr std::size_t kMostPerCharacter = 4;  // bytes: a surrogate pair, or CR and LF
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
    // How long a file that takes nothing is waited for, in milliseconds.
    static constexpr std::int64_t kPatience = 5000;
    static constexpr std::int64_t kPatienceAtClose = 1000;

    void Begin(int file) noexcept ZTK_REQUIRES(lock_) {
        file_ = file;
        may_raise_sigpipe_ = MayRaiseSigpipe(file);
        stalled_ = false;
        give_up_at_.store(kNever, std::memory_order_relaxed);
        size_ = 0;
        limit_ = LimitOf(file);
        used_ = Put(0xFEFF, 0);
        owed_ = used_;
    }

    static bool IsPair(wchar_t first, wchar_t second) noexcept {
        return IsHighSurrogate(first) && IsLowSurrogate(second);
    }

    // Stores a unit at a place of the buffer and returns the next place.
    std::size_t Put(wchar_t unit, std::size_t place) noexcept ZTK_REQUIRES(lock_) {
        buffer_[place] = static_cast<unsigned char>(unit & 0xFF);
        buffer_[place + 1] = static_cast<unsigned char>(unit >> 8);
        return place + 2;
    }

    // Stores whole characters while there is room for any, and returns where the rest starts.
    const wchar_t* Take(const wchar_t* text) noexcept ZTK_REQUIRES(lock_) {
        while (*text != 0 && kRoom - used_ >= kMostPerCharacter) {
            if (*text == L'\n') {
                used_ = Put(L'\n', Put(L'\r', used_));
                ++text;
            } else {
                text = TakeRun(text);
            }
        }
        return text;
    }

    // The same up to the next line feed. REQUIRES: the first character is none, and there is room
    // for one of any kind.
    const wchar_t* TakeRun(const wchar_t* text) noexcept ZTK_REQUIRES(lock_) {
        // Behind so many units there is room for half a character, which ends a pair.
        const std::size_t most = (kRoom - used_) / sizeof(wchar_t) - 1;
        std::size_t run = FindUnit(text, most, EitherUnit(L'\n', 0));
        if (run == most && IsPair(text[run - 1], text[run])) {
            ++run;
        }
        static_assert(std::endian::native == std::endian::little, "as the file is");
        std::memcpy(buffer_ + used_, text, run * sizeof(wchar_t));
        used_ += run * sizeof(wchar_t);
        return text + run;
    }

    wchar_t UnitAt(std::size_t place) const noexcept ZTK_REQUIRES(lock_) {
        return static_cast<wchar_t>(buffer_[place] | buffer_[place + 1] << 8);
    }

    // Where the character ends that the system took only in part, when it took the first `taken`
    // bytes of the buffer; `taken` if it took none in part.
    std::size_t EndOfCharacter(std::size_t taken) const noexcept ZTK_REQUIRES(lock_) {
        if (taken < owed_) {
            return owed_;
        }
        const std::size_t end = taken + (taken - owed_) % 2;
        if (end < owed_ + 2 || used_ < end + 2) {
            return end;
        }
        const wchar_t last = UnitAt(end - 2), next = UnitAt(end);
        return IsPair(last, next) || (last == L'\r' && next == L'\n') ? end + 2 : end;
    }

    // The bytes of the buffer that fit into the file. The limit is asked for again only where it is
    // met: most processes never change it.
    std::size_t AllowedBytes() noexcept ZTK_REQUIRES(lock_) {
        if (used_ > limit_ - size_) {
            limit_ = std::max(LimitOf(file_), size_);
        }
        return static_cast<std::size_t>(std::min<std::uint64_t>(used_, limit_ - size_));
    }

    ssize_t WriteSome(const void* bytes, std::size_t count) noexcept ZTK_REQUIRES(lock_) {
        return may_raise_sigpipe_ ? WriteWithoutSigpipe(file_, bytes, count)
                                  : ::write(file_, bytes, count);
    }

    // Waits until a file that took nothing takes something. False after some seconds without that,
    // and at once where the wait before was in vain: a peer that does not read must not hold up the
    // agent.
    bool WaitForRoom() noexcept ZTK_REQUIRES(lock_) {
        constexpr std::int64_t kLook = 20;  // for an end of patience
        const std::int64_t begin = Milliseconds();
        for (std::int64_t now = begin;; now = Milliseconds()) {
            const std::int64_t end = std::min(stalled_ ? begin : begin + kPatience,
                                              give_up_at_.load(std::memory_order_relaxed));
            const std::int64_t left = std::max<std::int64_t>(end - now, 0);
            pollfd room{file_, POLLOUT, 0};
            const int ready = ::poll(&room, 1, static_cast<int>(std::min(left, kLook)));
            if (ready > 0) {
                return true;
            }
            if (left == 0 || (ready < 0 && errno != EINTR)) {
                stalled_ = true;
                return false;
            }
        }
    }

    // Hands the buffer to the system and returns the bytes that it took.
    std::size_t WriteOut() noexcept ZTK_REQUIRES(lock_) {
        const std::size_t allowed = AllowedBytes();
        std::size_t taken = 0;
        while (taken < allowed) {
            const ssize_t written = WriteSome(buffer_ + taken, allowed - taken);
            if (written > 0) {
                taken += static_cast<std::size_t>(written);
                stalled_ = false;
            } else if (written == 0 || (errno == EAGAIN ? !WaitForRoom() : errno != EINTR)) {
                break;
            }
        }
        size_ += taken;
        return taken;
    }

    // Empties the buffer. What the system refuses is dropped, so that a full disk never holds up
    // the writer. Only the rest of a character that is in the file in part stays, as the byte-order
    // mark does until it is there: without them the file would not read as text.
    bool Flush() noexcept ZTK_REQUIRES(lock_) {
        const std::size_t taken = WriteOut();
        const bool good = taken == used_;
        const std::size_t kept_end = good ? taken : EndOfCharacter(taken);
        owed_ = kept_end - taken;
        used_ = owed_;
        std::memmove(buffer_, buffer_ + taken, owed_);
        return good;
    }

    Lock lock_;
    std::atomic<std::int64_t> give_up_at_{kNever};  // waiting for the file
    int file_ ZTK_GUARDED_BY(lock_) = kClosed;
    std::uint64_t size_ ZTK_GUARDED_BY(lock_) = 0;   // of the file, as far as this stream wrote it
    std::uint64_t limit_ ZTK_GUARDED_BY(lock_) = 0;  // what size_ may reach; never below it
    bool may_raise_sigpipe_ ZTK_GUARDED_BY(lock_) = false;  // constant while it is open
    bool stalled_ ZTK_GUARDED_BY(lock_) = false;            // waiting for the file was in vain
    std::size_t used_ ZTK_GUARDED_BY(lock_) = 0;
    // The first bytes of the buffer, which must reach the file before any other: the byte-order
    // mark, or the rest of a character.
    std::size_t owed_ ZTK_GUARDED_BY(lock_) = 0;
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

// Without blocking: neither the open of a pipe that has no reader nor a write to a pipe or a
// terminal that takes nothing holds up the caller. A regular file is the same either way.
int CreateFile(const wchar_t* path) noexcept {
    char name[PATH_MAX];
    if (WideCharToMultiByte(CP_UTF8, 0, path, -1, name, sizeof name, nullptr, nullptr) == 0) {
        return -1;
    }
    int file = -1;
    do {
        file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
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
        return nullptr;
    }
    (void)stream->FlushNow();  // on a full disk the mark waits for the first text that gets through
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
