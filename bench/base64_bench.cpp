// Base64 between ready buffers beside the table loop that a user would write.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "ztk/base64.h"

namespace {

using Bytes = std::vector<unsigned char>;
const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

Bytes RandomBytes(std::int64_t size) {
    Bytes bytes(static_cast<std::size_t>(size));
    std::uint32_t state = 1;
    for (unsigned char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<unsigned char>(state >> 24);
    }
    return bytes;
}

// size characters, a multiple of four, without padding.
Bytes EncodedText(std::int64_t size) {
    Bytes bytes = RandomBytes(size / 4 * 3);
    Bytes text(static_cast<std::size_t>(size));
    ZTK::Base64Encode(bytes.data(), text.data(), static_cast<int>(bytes.size()), nullptr);
    return text;
}

int EncodeByTable(const unsigned char* in, unsigned char* out, int n) {
    unsigned char* const start = out;
    for (; n >= 3; n -= 3, in += 3) {
        *out++ = static_cast<unsigned char>(kAlphabet[in[0] >> 2]);
        *out++ = static_cast<unsigned char>(kAlphabet[(in[0] & 3) << 4 | in[1] >> 4]);
        *out++ = static_cast<unsigned char>(kAlphabet[(in[1] & 15) << 2 | in[2] >> 6]);
        *out++ = static_cast<unsigned char>(kAlphabet[in[2] & 63]);
    }
    if (n > 0) {
        const int second = n == 2 ? in[1] : 0;
        *out++ = static_cast<unsigned char>(kAlphabet[in[0] >> 2]);
        *out++ = static_cast<unsigned char>(kAlphabet[(in[0] & 3) << 4 | second >> 4]);
        *out++ = n == 2 ? static_cast<unsigned char>(kAlphabet[(second & 15) << 2]) : '=';
        *out++ = '=';
    }
    return static_cast<int>(out - start);
}

struct ReverseTable {
    unsigned char sextets[256] = {};

    ReverseTable() {
        for (unsigned char i = 0; i < 64; ++i) {
            sextets[static_cast<unsigned char>(kAlphabet[i])] = i;
        }
    }
};

// Knows well-formed text only, and no padding.
int DecodeByTable(const ReverseTable& table, const unsigned char* in, unsigned char* out, int n) {
    const unsigned char* const s = table.sextets;
    unsigned char* const start = out;
    for (; n >= 4; n -= 4, in += 4) {
        *out++ = static_cast<unsigned char>(s[in[0]] << 2 | s[in[1]] >> 4);
        *out++ = static_cast<unsigned char>(s[in[1]] << 4 | s[in[2]] >> 2);
        *out++ = static_cast<unsigned char>(s[in[2]] << 6 | s[in[3]]);
    }
    return static_cast<int>(out - start);
}

template <class Code>
void Run(benchmark::State& state, Bytes in, Code code) {
    Bytes out(2 * in.size() + 4);
    const auto n = static_cast<int>(in.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(code(in.data(), out.data(), n));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * n);
}

void Encode(benchmark::State& state) {
    Run(state, RandomBytes(state.range(0)), [](unsigned char* in, unsigned char* out, int n) {
        int length = 0;
        ZTK::Base64Encode(in, out, n, &length);
        return length;
    });
}
void EncodeByTableLoop(benchmark::State& state) {
    Run(state, RandomBytes(state.range(0)), EncodeByTable);
}
void Decode(benchmark::State& state) {
    Run(state, EncodedText(state.range(0)), [](unsigned char* in, unsigned char* out, int n) {
        return ZTK::Base64Decode(in, out, n, nullptr);
    });
}
void DecodeByTableLoop(benchmark::State& state) {
    const ReverseTable table;
    Run(state, EncodedText(state.range(0)), [&](unsigned char* in, unsigned char* out, int n) {
        return DecodeByTable(table, in, out, n);
    });
}
BENCHMARK(Encode)->Arg(64)->Arg(4096)->Arg(65536);
BENCHMARK(EncodeByTableLoop)->Arg(64)->Arg(4096)->Arg(65536);
BENCHMARK(Decode)->Arg(64)->Arg(4096)->Arg(65536);
BENCHMARK(DecodeByTableLoop)->Arg(64)->Arg(4096)->Arg(65536);

// A line break every 76 characters: there the codec goes on group by group for a while.
void DecodeLines(benchmark::State& state) {
    Bytes text = EncodedText(4096);
    for (std::size_t i = 76; i < text.size(); i += 77) {
        text[i] = '\n';
    }
    Run(state, text, [](unsigned char* in, unsigned char* out, int n) {
        return ZTK::Base64Decode(in, out, n, nullptr);
    });
}
BENCHMARK(DecodeLines);

}  // namespace
