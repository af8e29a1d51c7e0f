// What the platform layer costs beside the C++ library's own means, uncontended and on one thread.
//
// Each pair runs twice: in a process that has one thread only, where locks can do without
// interlocked instructions, and in one with several threads, as every agent has.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "ztk/platform.h"
#include "ztk/sync.h"

namespace {

enum Threads { kOneThread, kSeveralThreads };

void Prepare(const benchmark::State& state) {
    static bool started = false;
    if (state.range(0) == kSeveralThreads && !started) {
        started = true;
        std::thread([] { Sleep(INFINITE); }).detach();
    }
}

void SetAndWaitEvent(benchmark::State& state) {
    Prepare(state);
    HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    for (auto _ : state) {
        SetEvent(event);
        if (WaitForSingleObject(event, 0) != WAIT_OBJECT_0) {
            state.SkipWithError("the event was not set");
        }
    }
    CloseHandle(event);
}

void SetAndWaitConditionVariable(benchmark::State& state) {
    Prepare(state);
    std::mutex mutex;
    std::condition_variable condition;
    bool set = false;
    for (auto _ : state) {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            set = true;
        }
        condition.notify_one();
        {
            std::unique_lock<std::mutex> lock(mutex);
            condition.wait(lock, [&] { return set; });
            set = false;
        }
    }
}

void LockPair(benchmark::State& state) {
    Prepare(state);
    ZTK::CLock lock;
    for (auto _ : state) {
        lock.Lock();
        benchmark::ClobberMemory();
        lock.Unlock();
    }
}

void RecursiveMutexPair(benchmark::State& state) {
    Prepare(state);
    std::recursive_mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}

constexpr std::size_t kBlockBytes = 100;

void ProcessHeapBlock(benchmark::State& state) {
    Prepare(state);
    for (auto _ : state) {
        void* block = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, kBlockBytes);
        benchmark::DoNotOptimize(block);
        HeapFree(GetProcessHeap(), 0, block);
    }
}

void RuntimeBlock(benchmark::State& state) {
    Prepare(state);
    for (auto _ : state) {
        void* block = std::calloc(1, kBlockBytes);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
}

// In the order in which they run: once there are several threads, there is no way back.
BENCHMARK(SetAndWaitEvent)->Arg(kOneThread);
BENCHMARK(SetAndWaitConditionVariable)->Arg(kOneThread);
BENCHMARK(LockPair)->Arg(kOneThread);
BENCHMARK(RecursiveMutexPair)->Arg(kOneThread);
BENCHMARK(ProcessHeapBlock)->Arg(kOneThread);
BENCHMARK(RuntimeBlock)->Arg(kOneThread);
BENCHMARK(SetAndWaitEvent)->Arg(kSeveralThreads);
BENCHMARK(SetAndWaitConditionVariable)->Arg(kSeveralThreads);
BENCHMARK(LockPair)->Arg(kSeveralThreads);
BENCHMARK(RecursiveMutexPair)->Arg(kSeveralThreads);
BENCHMARK(ProcessHeapBlock)->Arg(kSeveralThreads);
BENCHMARK(RuntimeBlock)->Arg(kSeveralThreads);

}  // namespace
