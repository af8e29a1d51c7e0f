// What loading a 16 MiB log costs, beside reading the same file in other ways: fread of large
// blocks, the whole file at once with lines cut by memchr, getline, and one library call per
// character.
//
// "Kept" loads into a buffer that has held the file before, "Fresh" into a new one each time, which
// also pays for its memory.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include "ztk/buffer.h"

namespace {

constexpr std::size_t kFileBytes = std::size_t{16} << 20;
constexpr const char* kWideMode = "r,ccs=UTF-16LE";
constexpr const char* kMixedMode = "r,ccs=UTF-8";

// A log in the file system, removed at exit.
class LogFile {
  public:
    LogFile(const char* name, std::size_t bytes_per_character, const char* line_end) : name_(name) {
        std::string text;
        for (int i = 0; text.size() < kFileBytes; ++i) {
            char line[200];
            const int length = std::snprintf(
                line, sizeof line,
                "2024-05-01 12:00:%02d.%06d thread %d: breakpoint %d hit at 0x%08x in %s:%d%s",
                i % 60, i, i % 17, i % 9, i * 77, i % 3 != 0 ? "module.cpp" : "launcher.cpp",
                i % 3000, line_end);
            for (int k = 0; k < length; ++k) {
                text += line[k];
                text.append(bytes_per_character - 1, '\0');
            }
        }
        text.resize(kFileBytes);
        std::FILE* const file = std::fopen(name_, "wb");
        if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size()) {
            std::perror(name_);
            std::exit(1);
        }
        (void)std::fclose(file);
    }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    ~LogFile() { (void)std::remove(name_); }

    std::FILE* Open(const char* mode) const { return std::fopen(name_, mode); }

  private:
    const char* name_;
};

const LogFile& NarrowLog() {
    static const LogFile log("buffer_bench.log", 1, "\n");
    return log;
}
const LogFile& ReturnsLog() {
    static const LogFile log("buffer_bench_crlf.log", 1, "\r\n");
    return log;
}
const LogFile& WideLog() {
    static const LogFile log("buffer_bench_utf16.log", 2, "\n");
    return log;
}

// Runs read once per iteration over a fresh stream.
template <class Read>
void Measure(benchmark::State& state, const LogFile& log, const char* mode, Read read) {
    for (auto _ : state) {
        std::FILE* const file = log.Open(mode);
        benchmark::DoNotOptimize(read(file));
        (void)std::fclose(file);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(kFileBytes));
}

std::size_t FreadAll(std::FILE* file) {
    static std::vector<char> block(65536);
    std::size_t total = 0;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file)) {
        total += count;
    }
    return total;
}

// Keeps what Load keeps: the text and the start of each line.
std::size_t ReadAndCut(std::FILE* file) {
    const std::unique_ptr<char[]> text(new char[kFileBytes]);
    const std::size_t count = std::fread(text.get(), 1, kFileBytes, file);
    std::vector<const char*> lines;
    char* start = text.get();
    char* const end = start + count;
    while (void* const feed = std::memchr(start, '\n', static_cast<std::size_t>(end - start))) {
        lines.push_back(start);
        start = static_cast<char*>(feed);
        *start++ = 0;
    }
    benchmark::DoNotOptimize(lines.data());
    return lines.size();
}

std::size_t GetlineAll(std::FILE* file) {
    char* line = nullptr;
    std::size_t room = 0;
    std::size_t lines = 0;
    while (::getline(&line, &room, file) >= 0) {
        ++lines;
    }
    std::free(line);
    return lines;
}

template <class T>
void LoadKept(benchmark::State& state, const LogFile& log, const char* mode) {
    ZTK::CBuffer<T> buffer;
    Measure(state, log, mode, [&](std::FILE* file) { return buffer.Load(file); });
}

template <class T>
void LoadFresh(benchmark::State& state, const LogFile& log, const char* mode) {
    Measure(state, log, mode, [](std::FILE* file) { return ZTK::CBuffer<T>().Load(file); });
}

template <class T>
void GetNextAll(benchmark::State& state, const LogFile& log, const char* mode) {
    for (auto _ : state) {
        ZTK::CBuffer<T> buffer;
        std::FILE* file = log.Open(mode);
        buffer.ReAllocForFile(file);
        while (buffer.GetNext(file, 0) != nullptr) {
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(kFileBytes));
}

std::size_t SingleReads(std::FILE* file) {
    std::size_t count = 0;
    while (std::fgetc(file) != EOF) {
        ++count;
    }
    return count;
}

std::size_t SingleWideReads(std::FILE* file) {
    std::size_t count = 0;
    while (std::fgetwc(file) != WEOF) {
        ++count;
    }
    return count;
}

#define ZTK_FILE_BENCH(name, ...)        \
    void name(benchmark::State& state) { \
        __VA_ARGS__;                     \
    }                                    \
    BENCHMARK(name)->Unit(benchmark::kMillisecond)->UseRealTime()

ZTK_FILE_BENCH(NarrowFread, Measure(state, NarrowLog(), "rb", FreadAll));
ZTK_FILE_BENCH(NarrowReadAndCut, Measure(state, NarrowLog(), "rb", ReadAndCut));
ZTK_FILE_BENCH(NarrowGetline, Measure(state, NarrowLog(), "rb", GetlineAll));
ZTK_FILE_BENCH(NarrowLoadKept, LoadKept<char>(state, NarrowLog(), "rb"));
ZTK_FILE_BENCH(NarrowLoadFresh, LoadFresh<char>(state, NarrowLog(), "rb"));
ZTK_FILE_BENCH(NarrowLoadKeptWithReturns, LoadKept<char>(state, ReturnsLog(), "rb"));
ZTK_FILE_BENCH(NarrowGetNext, GetNextAll<char>(state, NarrowLog(), "rb"));
ZTK_FILE_BENCH(NarrowFgetc, Measure(state, NarrowLog(), "rb", SingleReads));
ZTK_FILE_BENCH(Utf16Fread, Measure(state, WideLog(), "rb", FreadAll));
ZTK_FILE_BENCH(Utf16LoadKept, LoadKept<wchar_t>(state, WideLog(), kWideMode));
ZTK_FILE_BENCH(Utf16LoadFresh, LoadFresh<wchar_t>(state, WideLog(), kWideMode));
ZTK_FILE_BENCH(Utf16Fgetwc, Measure(state, WideLog(), kWideMode, SingleWideReads));
ZTK_FILE_BENCH(Utf8LoadKept, LoadKept<wchar_t>(state, NarrowLog(), kMixedMode));
ZTK_FILE_BENCH(Utf8Fgetwc, Measure(state, NarrowLog(), kMixedMode, SingleWideReads));

}  // namespace
