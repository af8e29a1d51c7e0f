// What framing costs: messages of one size in chunks of a socket's default buffer, through
// AddMessage, Pop and PushPool, beside a memcpy of the same bytes with one queue operation per
// message.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "framed_messages.h"
#include "ztk/messages.h"

namespace {

constexpr int kChunkBytes = 8912;

using ztk_bench::Message;
using ztk_bench::Receiver;

std::vector<char> StreamOf(int message_bytes) {
    std::vector<char> stream(static_cast<std::size_t>(message_bytes) * kChunkBytes, 'x');
    for (std::size_t at = 0; at < stream.size(); at += static_cast<std::size_t>(message_bytes)) {
        stream[at] = static_cast<char>(message_bytes % 256);
        stream[at + 1] = static_cast<char>(message_bytes / 256);
    }
    return stream;
}

void Report(benchmark::State& state, std::int64_t bytes) {
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(bytes / state.range(0));
}

void BM_Framing(benchmark::State& state) {
    const auto message_bytes = static_cast<int>(state.range(0));
    std::vector<char> stream = StreamOf(message_bytes);
    Receiver receiver;
    receiver.SetKeepRemainder(true);
    std::size_t at = 0;
    std::int64_t bytes = 0;
    for (auto _ : state) {
        const int chunk = static_cast<int>(std::min<std::size_t>(kChunkBytes, stream.size() - at));
        receiver.AddMessage(stream.data() + at, chunk);
        at = (at + static_cast<std::size_t>(chunk)) % stream.size();
        bytes += chunk;
        while (ZTK::CSocketMsg* message = receiver.Pop()) {
            benchmark::DoNotOptimize(message->GetPacket());
            receiver.PushPool(message);
        }
    }
    Report(state, bytes);
}
BENCHMARK(BM_Framing)->Arg(16)->Arg(64)->Arg(256)->Arg(1024);

struct NoLock {
    void lock() {}
    void unlock() {}
};
struct ZtkLock {
    void lock() { lock_.Lock(); }
    void unlock() { lock_.Unlock(); }
    ZTK::CLock lock_;
};

// The yardstick: each message's bytes are copied; its pointer goes through a queue, under a lock
// once to be put there and once to be taken out.
template <class Lock>
void BM_CopyAndQueue(benchmark::State& state) {
    const auto message_bytes = static_cast<std::size_t>(state.range(0));
    std::vector<char> stream = StreamOf(static_cast<int>(message_bytes));
    std::vector<char> target(stream.size());
    std::deque<char*> queue;
    Lock lock;
    const std::size_t count = kChunkBytes / message_bytes;
    std::int64_t bytes = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(target.data() + i * message_bytes, stream.data() + i * message_bytes,
                        message_bytes);
            lock.lock();
            queue.push_back(target.data() + i * message_bytes);
            lock.unlock();
        }
        for (std::size_t i = 0; i < count; ++i) {
            lock.lock();
            char* message = queue.front();
            queue.pop_front();
            lock.unlock();
            benchmark::DoNotOptimize(message);
        }
        bytes += static_cast<std::int64_t>(count * message_bytes);
    }
    Report(state, bytes);
}
BENCHMARK(BM_CopyAndQueue<NoLock>)->Arg(16)->Arg(64)->Arg(256)->Arg(1024);
BENCHMARK(BM_CopyAndQueue<std::mutex>)->Arg(16)->Arg(64)->Arg(256)->Arg(1024);
BENCHMARK(BM_CopyAndQueue<std::recursive_mutex>)->Arg(64);
BENCHMARK(BM_CopyAndQueue<ZtkLock>)->Arg(64);

}  // namespace

int main(int argc, char** argv) {
    // The C library's locks cost less in a process that never had a second thread, which no process
    // that receives messages is.
    std::thread([] {}).join();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
