// Conversion, formatting, length and replacement beside what a user would pick instead: iconv and a
// plain loop, snprintf into a ready buffer, an element loop.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "ztk/memory.h"
#include "ztk/strings.h"

namespace {

constexpr unsigned kUtf8 = 65001;

// ASCII, or words of two-byte characters between ASCII ones.
enum Kind : std::int64_t { kAscii, kMixed };

std::vector<char> NarrowText(const benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    std::vector<char> text;
    while (text.size() < size) {
        const bool wide =
            state.range(1) == kMixed && text.size() % 8 < 4 && text.size() + 2 <= size;
        if (wide) {
            text.push_back('\xD0');
            text.push_back('\xB6');
        } else {
            text.push_back('e');
        }
    }
    text.push_back(0);
    return text;
}

std::vector<wchar_t> WideText(const benchmark::State& state) {
    const std::vector<char> narrow = NarrowText(state);
    const wchar_t* const wide = ZTK::StrConvert(narrow.data(), kUtf8);
    return {wide, wide + ZTK::StrLength(wide) + 1};
}

void SetBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void ToWide(benchmark::State& state) {
    const auto text = NarrowText(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZTK::StrConvert(text.data(), kUtf8));
    }
    SetBytes(state);
}

void ToNarrow(benchmark::State& state) {
    const auto text = WideText(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZTK::StrConvert(text.data(), kUtf8));
    }
    SetBytes(state);
}

// An open iconv descriptor into a ready buffer.
template <class Source>
void RunIconv(benchmark::State& state, std::vector<Source> text, const char* to, const char* from) {
    const iconv_t conversion = iconv_open(to, from);
    std::vector<char> out(4 * text.size() + 16);
    for (auto _ : state) {
        char* in = reinterpret_cast<char*>(text.data());
        std::size_t in_left = text.size() * sizeof(Source);
        char* target = out.data();
        std::size_t room = out.size();
        benchmark::DoNotOptimize(iconv(conversion, &in, &in_left, &target, &room));
        benchmark::ClobberMemory();
    }
    iconv_close(conversion);
    SetBytes(state);
}

void ToWideByIconv(benchmark::State& state) {
    RunIconv(state, NarrowText(state), "UTF-16LE", "UTF-8");
}
void ToNarrowByIconv(benchmark::State& state) {
    RunIconv(state, WideText(state), "UTF-8", "UTF-16LE");
}

// The loops below know well-formed text of up to three bytes a character: the least that a user
// writes.
void ToWideByLoop(benchmark::State& state) {
    const auto text = NarrowText(state);
    std::vector<wchar_t> out(text.size());
    for (auto _ : state) {
        wchar_t* target = out.data();
        for (const char* p = text.data(); *p != 0;) {
            const auto lead = static_cast<unsigned char>(*p++);
            if (lead < 0x80) {
                *target++ = lead;
            } else if (lead < 0xE0) {
                *target++ = static_cast<wchar_t>((lead & 0x1F) << 6 | (*p++ & 0x3F));
            } else {
                *target++ =
                    static_cast<wchar_t>((lead & 0x0F) << 12 | (p[0] & 0x3F) << 6 | (p[1] & 0x3F));
                p += 2;
            }
        }
        *target = 0;
        benchmark::ClobberMemory();
    }
    SetBytes(state);
}

void ToNarrowByLoop(benchmark::State& state) {
    const auto text = WideText(state);
    std::vector<char> out(3 * text.size());
    for (auto _ : state) {
        char* target = out.data();
        for (const wchar_t* p = text.data(); *p != 0; ++p) {
            if (*p < 0x80) {
                *target++ = static_cast<char>(*p);
            } else if (*p < 0x800) {
                *target++ = static_cast<char>(0xC0 | *p >> 6);
                *target++ = static_cast<char>(0x80 | (*p & 0x3F));
            } else {
                *target++ = static_cast<char>(0xE0 | *p >> 12);
                *target++ = static_cast<char>(0x80 | (*p >> 6 & 0x3F));
                *target++ = static_cast<char>(0x80 | (*p & 0x3F));
            }
        }
        *target = 0;
        benchmark::ClobberMemory();
    }
    SetBytes(state);
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"bytes", "mixed"});
    for (const std::int64_t kind : {kAscii, kMixed}) {
        bench->Args({64, kind})->Args({4096, kind});
    }
}
BENCHMARK(ToWide)->Apply(Sizes);
BENCHMARK(ToWideByLoop)->Apply(Sizes);
BENCHMARK(ToWideByIconv)->Apply(Sizes);
BENCHMARK(ToNarrow)->Apply(Sizes);
BENCHMARK(ToNarrowByLoop)->Apply(Sizes);
BENCHMARK(ToNarrowByIconv)->Apply(Sizes);

#define LOG_LINE "%s [%u] %s:%d received %d bytes from %s, code 0x%08x\n"
#define LOG_ARGUMENTS "agent", 4711u, "session", 42, 8912, "127.0.0.1:50123", 0x274Cu

void FormatLogLine(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZTK::StrFormat(LOG_LINE, LOG_ARGUMENTS));
    }
}
BENCHMARK(FormatLogLine);

void FormatLogLineBySnprintf(benchmark::State& state) {
    char buffer[256];
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::snprintf(buffer, sizeof buffer, LOG_LINE, LOG_ARGUMENTS));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(FormatLogLineBySnprintf);

void FormatFloat(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZTK::StrFormat("took %.3f s", 12.3456));
    }
}
BENCHMARK(FormatFloat);

void WideLength(benchmark::State& state) {
    const std::vector<wchar_t> text = WideText(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZTK::StrLength(text.data()));
    }
    SetBytes(state);
}
BENCHMARK(WideLength)->Args({64, kAscii})->Args({4096, kAscii});

void WideLengthByLoop(benchmark::State& state) {
    const std::vector<wchar_t> text = WideText(state);
    for (auto _ : state) {
        const wchar_t* p = text.data();
        while (*p != 0) {
            benchmark::DoNotOptimize(++p);
        }
    }
    SetBytes(state);
}
BENCHMARK(WideLengthByLoop)->Args({64, kAscii})->Args({4096, kAscii});

// The time for each byte stays the same as the text grows.
void ReplaceEveryEighth(benchmark::State& state) {
    std::vector<char> text;
    while (static_cast<std::int64_t>(text.size()) < state.range(0)) {
        text.push_back(text.size() % 8 == 7 ? '\n' : 'a');
    }
    text.push_back(0);
    for (auto _ : state) {
        const char* const result = ZTK::StrReplace(text.data(), "\n", "\r\n");
        benchmark::DoNotOptimize(result);
        ZTK::StrFree(result);
    }
    SetBytes(state);
}
BENCHMARK(ReplaceEveryEighth)->Arg(4096)->Arg(65536)->Arg(1 << 20);

}  // namespace
