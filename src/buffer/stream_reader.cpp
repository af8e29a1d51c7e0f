// Characters from a C stream, many at a time.
#include "buffer/stream_reader.h"

#include "platform/file_stream.h"

namespace ZTK::buffer {
namespace {

bool IsOver(std::FILE* stream) noexcept {
    return std::feof(stream) != 0 || std::ferror(stream) != 0;
}

// One character of the stream as one or two units; 0 at its end or after an error. The caller holds
// the stream's lock.
std::size_t ReadCharacter(std::FILE* stream, char* units) {
    const int c = _fgetc_nolock(stream);
    units[0] = static_cast<char>(c);
    return c == EOF ? 0 : 1;
}

std::size_t Store(std::FILE* stream, std::wint_t c, wchar_t* units) {
    if (c == WEOF) {
        // Where the runtime's characters have 16 bits, 0xFFFF may be a unit of the text.
        constexpr bool is_also_unit = sizeof(std::wint_t) == sizeof(wchar_t);
        units[0] = static_cast<wchar_t>(c);
        return is_also_unit && !IsOver(stream) ? 1 : 0;
    }
    const unsigned long code = c;
    if (code <= 0xFFFF) {
        units[0] = static_cast<wchar_t>(code);
        return 1;
    }
    if (code > 0x10FFFF) {  // some decoders let through what no text can hold
        units[0] = 0xFFFD;
        return 1;
    }
    units[0] = static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
    units[1] = static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
    return 2;
}

std::size_t ReadCharacter(std::FILE* stream, wchar_t* units) {
    return Store(stream, FgetwcUnderLock(stream), units);
}

// The first of the characters that one call reads.
std::size_t ReadFirst(std::FILE* stream, char* units) {
    return ReadCharacter(stream, units);
}
std::size_t ReadFirst(std::FILE* stream, wchar_t* units) {
    return Store(stream, FgetwcFirst(stream), units);
}

}  // namespace

template <>
std::size_t StreamReader<char>::Read(char* block, std::size_t room) {
    if (IsOver(stream_)) {
        return 0;
    }
    std::size_t count = 0;
    if (!started_) {
        // The first character is read singly: only that gives the stream its orientation, and
        // refuses one of the other orientation, in every case in which a read of single characters
        // does.
        started_ = true;
        const int c = std::fgetc(stream_);
        if (c == EOF) {
            return 0;
        }
        block[count++] = static_cast<char>(c);
    }
    return count + std::fread(block + count, 1, room - count, stream_);
}

template <>
std::size_t StreamReader<wchar_t>::Read(wchar_t* block, std::size_t room) {
    const StreamLock hold(stream_);
    if (IsOver(stream_)) {
        return 0;
    }
    std::size_t count = ReadFirst(stream_, block);
    std::size_t units = count;
    while (units != 0 && room - count >= kMostUnits) {
        units = ReadCharacter(stream_, block + count);
        count += units;
    }
    return count;
}

template <class T>
LinePart ReadLinePart(std::FILE* stream, T* block, std::size_t room) {
    const StreamLock hold(stream);
    std::size_t count = 0;
    if (IsOver(stream)) {
        return {count, LineEnd::kStream};
    }
    std::size_t units = ReadFirst(stream, block);
    while (units != 0) {
        if (block[count] == '\n' || block[count] == 0) {
            block[count] = 0;
            return {count + 1, LineEnd::kLine};
        }
        count += block[count] == '\r' ? 0 : units;
        if (room - count < kMostUnits) {
            return {count, LineEnd::kNone};
        }
        units = ReadCharacter(stream, block + count);
    }
    return {count, LineEnd::kStream};
}

template LinePart ReadLinePart<char>(std::FILE*, char*, std::size_t);
template LinePart ReadLinePart<wchar_t>(std::FILE*, wchar_t*, std::size_t);

}  // namespace ZTK::buffer
