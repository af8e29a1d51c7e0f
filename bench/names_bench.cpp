// What events with names cost: in one process, beside those without; and between two processes on
// one processor, beside bare futexes in memory that they share.
#include <benchmark/benchmark.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "ztk/platform.h"
#include "ztk/strings.h"

namespace {

const wchar_t* Name(const char* what) {
    static const long base = getpid();
    return ZTK::StrFormat(L"ztk-bench-%ld-%hs", base, what);
}

void SetAndWait(benchmark::State& state, const wchar_t* name) {
    HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, name);
    for (auto _ : state) {
        SetEvent(event);
        if (WaitForSingleObject(event, 0) != WAIT_OBJECT_0) {
            state.SkipWithError("the event was not set");
        }
    }
    CloseHandle(event);
}
BENCHMARK_CAPTURE(SetAndWait, unnamed, nullptr);
BENCHMARK_CAPTURE(SetAndWait, named, L"ztk-bench-event");

void TakeAndRelease(benchmark::State& state, const wchar_t* name) {
    HANDLE const mutex = CreateMutexW(nullptr, FALSE, name);
    for (auto _ : state) {
        if (WaitForSingleObject(mutex, 0) != WAIT_OBJECT_0 || !ReleaseMutex(mutex)) {
            state.SkipWithError("the mutex was not free");
        }
    }
    CloseHandle(mutex);
}
BENCHMARK_CAPTURE(TakeAndRelease, unnamed, nullptr);
BENCHMARK_CAPTURE(TakeAndRelease, named, L"ztk-bench-mutex");

void OpenAndClose(benchmark::State& state) {
    HANDLE const kept = CreateEventW(nullptr, FALSE, FALSE, L"ztk-bench-kept");
    for (auto _ : state) {
        CloseHandle(CreateEventW(nullptr, FALSE, FALSE, L"ztk-bench-new"));
    }
    CloseHandle(kept);
}
BENCHMARK(OpenAndClose);

// Two events, one for each direction.
struct EventPair {
    HANDLE there = CreateEventW(nullptr, FALSE, FALSE, Name("there"));
    HANDLE back = CreateEventW(nullptr, FALSE, FALSE, Name("back"));
    static bool Set(HANDLE event) { return SetEvent(event) != FALSE; }
    static bool Wait(HANDLE event) { return WaitForSingleObject(event, 10000) == WAIT_OBJECT_0; }
    ~EventPair() { CloseHandle(there), CloseHandle(back); }
};

// The least that a signal between processes can be: a word that is set and woken.
struct FutexPair {
    using Word = std::atomic<std::uint32_t>;
    static Word* Words() {
        static void* const memory =
            mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return static_cast<Word*>(memory);
    }
    Word* there = Words();
    Word* back = Words() + 16;
    static bool Set(Word* word) {
        word->store(1);
        return syscall(SYS_futex, word, FUTEX_WAKE, 1, nullptr, nullptr, 0) >= 0;
    }
    static bool Wait(Word* word) {
        while (word->exchange(0) == 0) {
            syscall(SYS_futex, word, FUTEX_WAIT, 0, nullptr, nullptr, 0);
        }
        return true;
    }
};

template <class Pair>
void ThereAndBack(benchmark::State& state) {
    cpu_set_t before, one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    sched_getaffinity(0, sizeof before, &before);
    sched_setaffinity(0, sizeof one, &one);
    const Pair pair;
    const pid_t other = fork();
    if (other == 0) {
        const Pair same;
        while (Pair::Wait(same.there) && Pair::Set(same.back)) {
        }
        _exit(0);
    }
    for (auto _ : state) {
        if (!Pair::Set(pair.there) || !Pair::Wait(pair.back)) {
            state.SkipWithError("no answer");
            break;
        }
    }
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    sched_setaffinity(0, sizeof before, &before);
}
BENCHMARK(ThereAndBack<EventPair>)->UseRealTime();
BENCHMARK(ThereAndBack<FutexPair>)->UseRealTime();

}  // namespace
