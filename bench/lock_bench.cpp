// What CLock and waits for several events cost beside the C++ library's locks and condition
// variable, in a process with several threads: locks alone, nested and wanted by two threads.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "ztk/platform.h"
#include "ztk/sync.h"

namespace {

struct ZtkLock {
    void lock() { lock_.Lock(); }
    void unlock() { lock_.Unlock(); }
    ZTK::CLock lock_;
};

template <class Lock>
void BM_Alone(benchmark::State& state) {
    Lock lock;
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}
BENCHMARK(BM_Alone<ZtkLock>);
BENCHMARK(BM_Alone<std::mutex>);
BENCHMARK(BM_Alone<std::recursive_mutex>);

template <class Lock>
void BM_Nested(benchmark::State& state) {
    Lock lock;
    for (auto _ : state) {
        lock.lock();
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
        lock.unlock();
    }
}
BENCHMARK(BM_Nested<ZtkLock>);
BENCHMARK(BM_Nested<std::recursive_mutex>);

// The threads share a counter, and each works a little for itself between two locks.
template <class Lock>
void BM_Contended(benchmark::State& state) {
    static Lock lock;
    static std::uint64_t shared = 0;
    std::uint64_t own = 1;
    for (auto _ : state) {
        lock.lock();
        benchmark::DoNotOptimize(++shared);
        lock.unlock();
        for (int i = 0; i < 10; ++i) {
            benchmark::DoNotOptimize(own = own * 3 + 1);
        }
    }
}
BENCHMARK(BM_Contended<ZtkLock>)->Threads(2)->UseRealTime();
BENCHMARK(BM_Contended<std::mutex>)->Threads(2)->UseRealTime();
BENCHMARK(BM_Contended<std::recursive_mutex>)->Threads(2)->UseRealTime();

constexpr unsigned kEvents = 8;

void BM_AnyOfEvents(benchmark::State& state) {
    HANDLE events[kEvents];
    for (HANDLE& event : events) {
        event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    }
    unsigned next = 0;
    for (auto _ : state) {
        SetEvent(events[next]);
        const DWORD taken = WaitForMultipleObjects(kEvents, events, FALSE, INFINITE);
        if (taken != WAIT_OBJECT_0 + next) {
            state.SkipWithError("another event was taken");
        }
        next = (next + 1) % kEvents;
    }
    for (HANDLE event : events) {
        CloseHandle(event);
    }
}
BENCHMARK(BM_AnyOfEvents);

void BM_AnyOfConditions(benchmark::State& state) {
    std::mutex mutex;
    std::condition_variable changed;
    bool set[kEvents] = {};
    unsigned next = 0;
    for (auto _ : state) {
        {
            const std::lock_guard<std::mutex> guard(mutex);
            set[next] = true;
        }
        changed.notify_one();
        std::unique_lock<std::mutex> lock(mutex);
        unsigned taken = kEvents;
        changed.wait(lock, [&] {
            for (taken = 0; taken < kEvents && !set[taken]; ++taken) {
            }
            return taken < kEvents;
        });
        set[taken] = false;
        next = (next + 1) % kEvents;
    }
}
BENCHMARK(BM_AnyOfConditions);

}  // namespace

int main(int argc, char** argv) {
    // The C library's locks cost less in a process that never had a second thread.
    std::thread([] {}).join();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
