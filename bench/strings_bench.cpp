// Conversion, formatting, length and replacement beside what a user would pick instead: iconv and a
// plain loop, snprintf into a ready buffer, an element loop.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include "ztk/memory.h"
#include "ztk/strings.h"

namespace {

constexpr unsigned kUtf8 = 65001;

// ASCII; words of two-byte characters between ASCII ones; Russian, whose words stand between
// blanks; Chinese, of three-byte characters alone; French, with a character of two bytes here and
// there; and faces, of four bytes each, among a few letters.
enum Kind : std::int64_t { kAscii, kMixed, kRussian, kChinese, kFrench, kFaces };

constexpr const char* kPattern[] = {
    "e",
    "\xD0\xB6\xD0\xB6"
    "eeee",
    "\xD0\xBF\xD1\x80\xD0\xBE\xD1\x86\xD0\xB5\xD1\x81\xD1\x81 \xD0\xB2 "
    "\xD1\x81\xD0\xB5\xD1\x82\xD0\xB8, ",
    "\xE7\xBD\x91\xE7\xBB\x9C\xE8\xBF\x9B\xE7\xA8\x8B\xE6\xAD\xA3\xE5\x9C\xA8\xE8\xBF\x90\xE8\xA1"
    "\x8C",
    "la connexion a \xC3\xA9t\xC3\xA9 ferm\xC3\xA9"
    "e par le pair; ",
    "ok \xF0\x9F\x98\x80\xF0\x9F\x98\x81! ",
};

// As many whole patterns as fit, filled up with ASCII.
std::vector<char> NarrowText(const benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::string_view pattern = kPattern[state.range(1)];
    std::vector<char> text;
    while (text.size() + pattern.size() <= size) {
        text.insert(text.end(), pattern.begin(), pattern.end());
    }
    text.resize(size, 'e');
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

// The loops below know well-formed text: the least that a user writes.
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
            } else if (lead < 0xF0) {
                *target++ =
                    static_cast<wchar_t>((lead & 0x0F) << 12 | (p[0] & 0x3F) << 6 | (p[1] & 0x3F));
                p += 2;
            } else {
                const int c =
                    (lead & 0x07) << 18 | (p[0] & 0x3F) << 12 | (p[1] & 0x3F) << 6 | (p[2] & 0x3F);
                *target++ = static_cast<wchar_t>(0xD7C0 + (c >> 10));
                *target++ = static_cast<wchar_t>(0xDC00 | (c & 0x3FF));
                p += 3;
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
            } else if (*p < 0xD800 || *p > 0xDFFF) {
                *target++ = static_cast<char>(0xE0 | *p >> 12);
                *target++ = static_cast<char>(0x80 | (*p >> 6 & 0x3F));
                *target++ = static_cast<char>(0x80 | (*p & 0x3F));
            } else {
                const int c = ((p[0] - 0xD7C0) << 10) + (p[1] - 0xDC00);
                ++p;
                *target++ = static_cast<char>(0xF0 | c >> 18);
                *target++ = static_cast<char>(0x80 | (c >> 12 & 0x3F));
                *target++ = static_cast<char>(0x80 | (c >> 6 & 0x3F));
                *target++ = static_cast<char>(0x80 | (c & 0x3F));
            }
        }
        *target = 0;
        benchmark::ClobberMemory();
    }
    SetBytes(state);
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"bytes", "kind"});
    for (const std::int64_t kind : {kAscii, kMixed, kRussian, kChinese, kFrench, kFaces}) {
        for (const std::int64_t bytes : {64, 4096, 384 << 10}) {
            bench->Args({bytes, kind});
        }
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

#define FLOAT_LINE "took %.3f s, %g per second, %e in all, %.2f %%"
#define FLOAT_ARGUMENTS 12.3456, 8231.25, 3.14159e12, 99.87

void FormatFloat(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZTK::StrFormat(FLOAT_LINE, FLOAT_ARGUMENTS));
    }
}
BENCHMARK(FormatFloat);

void FormatFloatBySnprintf(benchmark::State& state) {
    char buffer[256];
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::snprintf(buffer, sizeof buffer, FLOAT_LINE, FLOAT_ARGUMENTS));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(FormatFloatBySnprintf);

#define INTEGER_LINE "message %d of %u, length %lld, flags %x, thread %lu\n"
#define INTEGER_ARGUMENTS 17, 4711u, 123456789012LL, 0xBEEFu, 140234UL

void FormatIntegers(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZTK::StrFormat(INTEGER_LINE, INTEGER_ARGUMENTS));
    }
}
BENCHMARK(FormatIntegers);

void FormatIntegersBySnprintf(benchmark::State& state) {
    char buffer[256];
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            std::snprintf(buffer, sizeof buffer, INTEGER_LINE, INTEGER_ARGUMENTS));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(FormatIntegersBySnprintf);

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
