// What finding a term in log text with the line of each hit costs, in 1 MiB, which stays in a
// cache, and in 64 MiB; beside a plain loop of the same rules, and the C++ library's Horspool
// searcher and the C library's memmem with lines counted by memchr. All keep the same: line start
// and line number of each hit.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ztk/buffer.h"

namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20;

const char* const kTerms[] = {
    "breakpoint",            // in every line
    "launcher.cpp",          // in every third
    "thread 5: breakpoint",  // in every 17th
    "hit at 0x0098a1",       // a few times
    "segmentation fault",    // nowhere
    "\n2024-05-01",          // in every line, from the line feed before it on
};

std::string_view Log(std::size_t bytes) {
    static const std::string text = [] {
        std::string log;
        for (int i = 0; log.size() < kMostBytes; ++i) {
            char line[200];
            (void)std::snprintf(
                line, sizeof line,
                "2024-05-01 12:00:%02d.%06d thread %d: breakpoint %d hit at 0x%08x in %s:%d\n",
                i % 60, i, i % 17, i % 9, i * 77, i % 3 != 0 ? "module.cpp" : "launcher.cpp",
                i % 3000);
            log += line;
        }
        log.resize(kMostBytes);
        return log;
    }();
    return std::string_view(text).substr(0, bytes);
}

using Hits = std::vector<std::int64_t>;

// --- The plain loop

int Key(char c) {
    return std::abs(static_cast<signed char>(c));
}

struct PlainTerm {
    explicit PlainTerm(std::string term) : text(std::move(term)) {
        const std::size_t m = text.size();
        for (auto& move : moves) {
            move = static_cast<std::uint16_t>(m);
        }
        for (std::size_t i = 0; i < m; ++i) {
            moves[Key(text[i])] = static_cast<std::uint16_t>(m - 1 - i);
        }
        moves[Key(text[m - 1])] = 1;
    }
    std::string text;
    std::uint16_t moves[129];
};

// Each alignment counts the lines that the move before it passed, as the rules put it.
void SearchPlainly(std::string_view text, const PlainTerm& term, Hits* hits) {
    const char* const t = text.data();
    const std::size_t n = text.size();
    const std::size_t m = term.text.size();
    std::size_t mark = 0;
    std::int64_t line = 1;
    std::int64_t start = 0;
    for (std::size_t pos = 0; pos + m <= n;) {
        for (; mark < pos; ++mark) {
            if (t[mark] == '\n') {
                start = static_cast<std::int64_t>(mark) + 1;
                ++line;
            }
        }
        if (t[pos + m - 1] != term.text[m - 1]) {
            pos += term.moves[Key(t[pos + m - 1])];
            continue;
        }
        std::size_t k = 0;
        while (k + 1 < m && t[pos + k] == term.text[k]) {
            ++k;
        }
        if (k + 1 < m) {
            const std::size_t beyond = pos + k + m - 1;
            pos += term.moves[Key(beyond < n ? t[beyond] : '\0')];
            continue;
        }
        hits->push_back(start << 32 | line);
        pos += m;
    }
}

// --- The standard libraries' searches

// find: gives the term's first place in a range, or the range's end.
template <class Find>
void SearchWithMemchr(std::string_view text, Find find, std::size_t m, Hits* hits) {
    const char* const end = text.data() + text.size();
    const char* from = text.data();
    const char* start = from;
    std::int64_t line = 1;
    for (;;) {
        const char* const found = find(from, end);
        if (found == end) {
            return;
        }
        while (const void* feed =
                   std::memchr(start, '\n', static_cast<std::size_t>(found - start))) {
            start = static_cast<const char*>(feed) + 1;
            ++line;
        }
        hits->push_back(std::int64_t{start - text.data()} << 32 | line);
        from = found + m;
    }
}

// --- Measuring

// search: gives the number of hits in the text.
template <class Search>
void Measure(benchmark::State& state, Search search) {
    const std::string_view text = Log(static_cast<std::size_t>(state.range(1)) << 20);
    for (auto _ : state) {
        state.counters["hits"] = static_cast<double>(search(text));
    }
    const std::string_view term = kTerms[state.range(0)];
    state.SetLabel(std::string(term.substr(term.front() == '\n' ? 1 : 0)));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
}

void BufferSearch(benchmark::State& state, DWORD flags, ZTK::SearchCancelFn cancel) {
    ZTK::CSearchQuery<char> query;
    query.SetTerm(kTerms[state.range(0)], 0, flags != 0);
    ZTK::CBuffer<char> buffer;
    Measure(state, [&](std::string_view text) {
        return buffer.Search(text.data(), static_cast<int>(text.size()), flags, query, cancel,
                             nullptr, '\n');
    });
}

void Buffer(benchmark::State& state) {
    BufferSearch(state, 0, nullptr);
}
void BufferIgnoringCase(benchmark::State& state) {
    BufferSearch(state, ZTK::SEARCH_IGNORE_CASE, nullptr);
}
void BufferWithCancel(benchmark::State& state) {
    BufferSearch(state, 0, [](void*) { return false; });
}

void BufferWide(benchmark::State& state) {
    const std::string term = kTerms[state.range(0)];
    std::vector<wchar_t> wide_term(term.begin(), term.end());
    wide_term.push_back(0);
    const std::string_view narrow = Log(kMostBytes);
    const std::vector<wchar_t> wide(narrow.begin(), narrow.end());
    ZTK::CSearchQuery<wchar_t> query;
    query.SetTerm(wide_term.data(), 0, false);
    ZTK::CBuffer<wchar_t> buffer;
    Measure(state, [&](std::string_view text) {
        return buffer.Search(wide.data(), static_cast<int>(text.size()), 0, query, nullptr, nullptr,
                             L'\n');
    });
}

void PlainLoop(benchmark::State& state) {
    const PlainTerm term(kTerms[state.range(0)]);
    Hits hits;
    Measure(state, [&](std::string_view text) {
        hits.clear();
        SearchPlainly(text, term, &hits);
        return hits.size();
    });
}

void StandardHorspool(benchmark::State& state) {
    const std::string term = kTerms[state.range(0)];
    const std::boyer_moore_horspool_searcher searcher(term.begin(), term.end());
    const auto find = [&](const char* from, const char* end) { return searcher(from, end).first; };
    Hits hits;
    Measure(state, [&](std::string_view text) {
        hits.clear();
        SearchWithMemchr(text, find, term.size(), &hits);
        return hits.size();
    });
}

void Memmem(benchmark::State& state) {
    const std::string_view term = kTerms[state.range(0)];
    const auto find = [&](const char* from, const char* end) {
        const auto count = static_cast<std::size_t>(end - from);
        const void* const found = ::memmem(from, count, term.data(), term.size());
        return found == nullptr ? end : static_cast<const char*>(found);
    };
    Hits hits;
    Measure(state, [&](std::string_view text) {
        hits.clear();
        SearchWithMemchr(text, find, term.size(), &hits);
        return hits.size();
    });
}

#define ZTK_SEARCH_BENCH(name)                       \
    BENCHMARK(name)                                  \
        ->ArgsProduct({{0, 1, 2, 3, 4, 5}, {1, 64}}) \
        ->ArgNames({"term", "MiB"})                  \
        ->Unit(benchmark::kMillisecond)              \
        ->UseRealTime()

ZTK_SEARCH_BENCH(Buffer);
ZTK_SEARCH_BENCH(PlainLoop);
ZTK_SEARCH_BENCH(StandardHorspool);
ZTK_SEARCH_BENCH(Memmem);
ZTK_SEARCH_BENCH(BufferIgnoringCase);
ZTK_SEARCH_BENCH(BufferWithCancel);
ZTK_SEARCH_BENCH(BufferWide);

}  // namespace
