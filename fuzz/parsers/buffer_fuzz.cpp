// Fuzzes text buffers: a file is loaded in every mode, whole and by line, cut and searched.
#include <sys/mman.h>

#include <fstream>

#include "fuzz_input.h"

// The C library does not free what it opens an encoding with.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:__gconv_lookup_cache";
}

template <class Char>
static int ReadLines(ZTK::CBuffer<Char>& buffer, std::FILE* stream) {
    int count = 0;
    while (const Char* const line = buffer.GetNext(stream, count)) {
        count += ZTK::StrLength(line) < INT_MAX ? 1 : 0;
    }
    (void)(stream != nullptr ? std::fclose(stream) : 0);  // left open where memory was short
    return count;
}

template <class Char, std::size_t n>
static void FuzzBuffer(FuzzInput& input, const char* const (&modes)[n]) {
    static const std::string path = "/proc/self/fd/" + std::to_string(memfd_create("fuzz", 0));
    std::ofstream file(path);
    const char* const mode = input.Pick(modes);
    const DWORD flags = input.Byte() % 4;
    ZTK::CSearchQuery<Char> query;
    query.SetTerm(input.Text<Char>(input.Byte() % 16).data(), 0, flags % 2 != 0);
    const auto delimiter = input.Next<Char>();
    file << input.rest << std::flush;
    ZTK::CBuffer<Char> buffer, by_line;
    std::FILE* const stream = std::fopen(path.c_str(), mode);
    const int lines = buffer.Load(stream);
    std::fclose(stream);
    Require(ReadLines<Char>(buffer, nullptr) == lines || input.refuses);
    const int last = static_cast<int>(buffer.Search(flags, query)) - 1;
    int number = 0;
    const Char* const line = last < 0 ? nullptr : buffer.GetResult(last, number);
    const int length = line == nullptr ? 0 : buffer.GetResultLength(last);
    Require(std::count(line, line + length, 0) == 0);
    const int count = ReadLines(by_line, std::fopen(path.c_str(), mode));  // closes the stream
    Require(count == lines || count + 1 == lines || input.refuses);
    buffer += by_line.GetBuffer();
    Require(!buffer.ToLines() || ReadLines<Char>(buffer, nullptr) > 0 || input.refuses);
    Require(!buffer.Split(delimiter) || ReadLines<Char>(buffer, nullptr) > 0 || input.refuses);
}

void Run(FuzzInput& input) {
    input.Byte() % 2 == 0
        ? FuzzBuffer<char>(input, {"r", "rb", "rt"})
        : FuzzBuffer<wchar_t>(input, {"r", "rt", "r,ccs=UTF-8", "r,ccs=UTF-16LE", "r,ccs=UNICODE"});
}
