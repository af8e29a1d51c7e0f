// The C runtime's streams by the platform's names, over the C library's.
#include "platform/posix/files/file_stream.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

#include "platform/posix/files/pipe_start.h"

namespace ZTKPosix {

namespace {

using namespace std::string_view_literals;

constexpr std::wint_t kByteOrderMark = 0xFEFF;

constexpr std::string_view kLittle = "\xFF\xFE"sv;
constexpr std::string_view kBig = "\xFE\xFF"sv;
constexpr std::string_view kMarks[] = {"\xFF\xFE\0\0"sv, "\0\0\xFE\xFF"sv, kLittle, kBig,
                                       "\xEF\xBB\xBF"sv};
// Those over which a decoder may abort.
constexpr std::span kWideMarks(kMarks, 4);

// The first bytes of a file, one more than a mark can have.
class FileStart {
  public:
    explicit FileStart(int file) noexcept {
        const ssize_t got = ::pread(file, bytes_, sizeof bytes_, 0);
        size_ = got > 0 ? static_cast<std::size_t>(got) : 0;
    }

    bool BeginsWith(std::string_view mark) const noexcept { return Text().starts_with(mark); }
    bool IsOnlyAMark() const noexcept {
        return std::find(std::begin(kMarks), std::end(kMarks), Text()) != std::end(kMarks);
    }
    bool HasAMark() const noexcept {
        return std::any_of(std::begin(kMarks), std::end(kMarks),
                           [this](std::string_view mark) { return BeginsWith(mark); });
    }
    long Size() const noexcept { return static_cast<long>(size_); }

  private:
    std::string_view Text() const noexcept { return {bytes_, size_}; }

    char bytes_[5];
    std::size_t size_;
};

// Whether the stream's buffer, which setvbuf can make that small, would hold a mark and no more.
bool CutsAMark(const std::FILE* stream) noexcept {
    const auto room = stream->_IO_buf_end - stream->_IO_buf_base;
    return room > 0 && static_cast<std::size_t>(room) <= kLittle.size();
}

// Takes a stream that has read nothing to another place of its file. Not by fseek: that decodes the
// bytes before the place, and never returns where they end in the middle of a character.
void SkipTo(std::FILE* stream, long place, int whence) noexcept {
    (void)::lseek(::fileno(stream), place, whence);  // a regular file can be sought in
    stream->_offset = -1;                            // the C library asks for its place again
}

// Takes the stream to where its decoder meets no mark on its own, if it is at such a place now.
void AvoidLoneMark(std::FILE* stream, const FileStart& start) noexcept {
    if (start.IsOnlyAMark()) {
        // Not to its end: more may have been written to the file meanwhile.
        SkipTo(stream, start.Size(), SEEK_SET);
    } else if (CutsAMark(stream) && start.BeginsWith(kLittle)) {
        SkipTo(stream, static_cast<long>(kLittle.size()), SEEK_SET);
    } else if (CutsAMark(stream) && start.BeginsWith(kBig)) {
        // Without its mark the text would be taken for one of the other byte order.
        SkipTo(stream, 0, SEEK_END);
    }
}

bool IsMoreThanAMark(std::string_view start) noexcept {
    return std::none_of(kWideMarks.begin(), kWideMarks.end(),
                        [start](std::string_view mark) { return mark.starts_with(start); });
}

std::wint_t FailStream(std::FILE* stream) noexcept {
    stream->_flags |= _IO_ERR_SEEN;
    return WEOF;
}

// Lets a stream read from another descriptor for a scope, then closes that. The caller holds the
// stream's lock.
class BorrowedDescriptor {
  public:
    BorrowedDescriptor(std::FILE* stream, int lent) noexcept
        : stream_(stream), own_(std::exchange(stream->_fileno, lent)) {}
    BorrowedDescriptor(const BorrowedDescriptor&) = delete;
    BorrowedDescriptor& operator=(const BorrowedDescriptor&) = delete;
    ~BorrowedDescriptor() { (void)::close(std::exchange(stream_->_fileno, own_)); }

  private:
    std::FILE* const stream_;
    const int own_;
};

// What a decoder makes of a mark that nothing follows; `mark` is taken from the descriptor. It gets
// half a character besides, which it drops at the end: over nothing at all it would abort.
std::wint_t FgetwcOfLoneMark(std::FILE* stream, std::string_view mark) {
    char bytes[8] = {};
    if (::read(stream->_fileno, bytes, mark.size()) < 0) {
        return FailStream(stream);
    }
    const int lent = OpenPipeOf({bytes, mark.size() + 1});
    if (lent == -1) {
        return FailStream(stream);
    }
    const BorrowedDescriptor borrowed(stream, lent);
    return FgetwcUnderLock(stream);
}

// A stream without room for more than a mark, before a mark of UTF-16.
std::wint_t FgetwcPastCutMark(std::FILE* stream, std::string_view mark) {
    if (mark == kBig) {
        // Without its mark the text would be taken for one of the other byte order.
        errno = EILSEQ;
        return FailStream(stream);
    }
    char bytes[kLittle.size()];
    (void)::read(stream->_fileno, bytes, sizeof bytes);  // an error shows at once, in the next read
    return FgetwcUnderLock(stream);
}

// The first character from a pipe or a socket. The decoder gets no mark on its own: what follows is
// waited for, as the decoder would have to.
std::wint_t FgetwcFromPipe(std::FILE* stream, int file) {
    const int error = errno;
    char room[5];
    std::string_view start;
    if (!LookAtPipeStart(file, IsMoreThanAMark, room, start)) {
        return FailStream(stream);
    }
    errno = error;
    if (CutsAMark(stream) && (start.starts_with(kLittle) || start.starts_with(kBig))) {
        return FgetwcPastCutMark(stream, start.substr(0, kLittle.size()));
    }
    if (std::find(kWideMarks.begin(), kWideMarks.end(), start) != kWideMarks.end()) {
        return FgetwcOfLoneMark(stream, start);
    }
    return FgetwcUnderLock(stream);
}

}  // namespace

int _fileno(std::FILE* stream) noexcept {
    return ::fileno(stream);
}

LONG _filelength(int file) noexcept {
    struct stat info {};
    // A pipe or a terminal has no length, and what a directory reports as its own means nothing.
    if (::fstat(file, &info) != 0 || !S_ISREG(info.st_mode) ||
        info.st_size > std::numeric_limits<LONG>::max()) {
        return -1;
    }
    return static_cast<LONG>(info.st_size);
}

void _lock_file(std::FILE* stream) noexcept {
    ::flockfile(stream);
}

void _unlock_file(std::FILE* stream) noexcept {
    ::funlockfile(stream);
}

std::wint_t FgetwcPastMark(std::FILE* stream) {
    const int file = ::fileno(stream);
    const int error = errno;
    const off_t place = ::lseek(file, 0, SEEK_CUR);
    if (place != 0) {
        errno = error;
        return place > 0 ? FgetwcUnderLock(stream) : FgetwcFromPipe(stream, file);
    }
    const FileStart start(file);
    AvoidLoneMark(stream, start);
    const std::wint_t first = FgetwcUnderLock(stream);
    return first == kByteOrderMark && start.HasAMark() ? FgetwcUnderLock(stream) : first;
}

}  // namespace ZTKPosix
