// Lines for the trace log beside the same bytes through a stream of the C library.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "ztk/logging.h"

namespace {

constexpr const char* kPath = "logging_bench.log";
constexpr std::int64_t kLinesPerFile = 1 << 16;  // then it begins anew, so that no disk fills

// A line of ASCII with the line feed at its end.
std::vector<wchar_t> Line(const benchmark::State& state) {
    std::vector<wchar_t> line(static_cast<std::size_t>(state.range(0)), L'x');
    line.back() = L'\n';
    line.push_back(0);
    return line;
}

void SetCounts(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
    std::remove(kPath);
}

void WriteTraceLog(benchmark::State& state) {
    const std::vector<wchar_t> line = Line(state);
    std::int64_t left = 0;
    for (auto _ : state) {
        if (left-- == 0) {
            ZTKCloseTraceLog();
            ZTKOpenTraceLog(L"logging_bench.log");
            left = kLinesPerFile;
        }
        ZTKWriteTraceLog(line.data());
    }
    ZTKCloseTraceLog();
    SetCounts(state);
}
BENCHMARK(WriteTraceLog)->Arg(20)->Arg(100)->Arg(1000)->Arg(20000);

// The same bytes, made ready before, and as many flushes.
void WriteByFwrite(benchmark::State& state) {
    const std::string bytes(2 * static_cast<std::size_t>(state.range(0)) + 2, 'x');
    std::FILE* file = nullptr;
    std::int64_t left = 0, writes = 0;
    for (auto _ : state) {
        if (left-- == 0) {
            if (file != nullptr) {
                std::fclose(file);
            }
            file = std::fopen(kPath, "wb");
            left = kLinesPerFile;
        }
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        if (++writes % 16 == 0) {
            std::fflush(file);
        }
    }
    std::fclose(file);
    SetCounts(state);
}
BENCHMARK(WriteByFwrite)->Arg(20)->Arg(100)->Arg(1000)->Arg(20000);

void Trace(benchmark::State& state) {
    ZTKOpenTraceLog(L"/dev/null");
    for (auto _ : state) {
        ZTKTrace(L"%hs [%u] %hs:%d received %d bytes\n", "agent", 4711u, "session", 42, 8912);
    }
    ZTKCloseTraceLog();
}
BENCHMARK(Trace);

}  // namespace
