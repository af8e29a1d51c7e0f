// What moving many small messages at a time gains: received ones through the batch calls of the
// receiver, and sent ones through CSendBatch, each beside the calls for one message.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <thread>
#include <vector>

#include "framed_messages.h"
#include "ztk/ztk.h"

namespace {

constexpr std::size_t kChunkBytes = 8912;

using ztk_bench::Message;
using ztk_bench::Receiver;

void TakeOneByOne(Receiver& receiver) {
    while (ZTK::CSocketMsg* message = receiver.Pop()) {
        benchmark::DoNotOptimize(message->GetPacket());
        receiver.PushPool(message);
    }
}

void TakeMany(Receiver& receiver) {
    ZTK::CSocketMsg* messages[64];
    while (const std::size_t count = receiver.Pop(messages, std::size(messages))) {
        for (std::size_t i = 0; i < count; ++i) {
            benchmark::DoNotOptimize(messages[i]->GetPacket());
        }
        receiver.PushPool(messages, count);
    }
}

template <void (*Take)(Receiver&)>
void BM_Receive(benchmark::State& state) {
    const auto message_bytes = static_cast<std::size_t>(state.range(0));
    std::vector<char> stream(message_bytes * kChunkBytes, 'x');
    for (std::size_t at = 0; at < stream.size(); at += message_bytes) {
        stream[at] = static_cast<char>(message_bytes % 256);
        stream[at + 1] = static_cast<char>(message_bytes / 256);
    }
    Receiver receiver;
    receiver.SetKeepRemainder(true);
    std::size_t at = 0;
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::size_t chunk = std::min(kChunkBytes, stream.size() - at);
        receiver.AddMessage(stream.data() + at, static_cast<int>(chunk));
        at = (at + chunk) % stream.size();
        bytes += chunk;
        Take(receiver);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(bytes / message_bytes));
}
BENCHMARK(BM_Receive<TakeOneByOne>)->Arg(16)->Arg(256);
BENCHMARK(BM_Receive<TakeMany>)->Arg(16)->Arg(256);

// A connection through the loopback device, whose other side receives all and drops it.
class Connection final : public ZTK::ISOListener {
  public:
    Connection() {
        ZTK::InitWSA();
        ZTK::TSOSocketInfo info{2, IPPROTO_TCP, 1, L"127.0.0.1", 0};
        ZTK::CServerSocket server(this, 0, &info);
        server.Listen();
        WaitForSingleObject(event_, INFINITE);
        sockaddr_in address{};
        int bytes = sizeof address;
        ZTK::CSocketUtil::GetSockName(server.GetSocket(), reinterpret_cast<sockaddr*>(&address),
                                      &bytes);
        info.port = ntohs(address.sin_port);
        socket.Connect(&info);
        WaitForSingleObject(event_, INFINITE);
        stopping_ = true;
        server.Shutdown();
        server.WaitForThreadExit(-1);
        drain_ = std::thread([this] {
            ZTK::CClientSocket other(nullptr, accepted_, 1 << 18);
            while (other.Read() > 0) {
            }
            other.Shutdown();
        });
    }
    ~Connection() {
        socket.Shutdown();
        drain_.join();
        CloseHandle(event_);
        ZTK::CloseWSA();
    }

    bool IsStopping() override { return stopping_; }
    void OnSocketCreated(std::uint64_t) override {}
    void OnListen(const wchar_t*, const wchar_t*, unsigned short) override { SetEvent(event_); }
    void OnError(ZTK::CServerSocket*, int) override {}
    void OnAccept(ZTK::CServerSocket*, std::uint64_t accepted) override {
        accepted_ = accepted;
        SetEvent(event_);
    }

    ZTK::CClientSocket socket{0};

  private:
    HANDLE event_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::atomic<std::uint64_t> accepted_{0};
    std::atomic<bool> stopping_{false};
    std::thread drain_;
};

constexpr std::size_t kMessageBytes = 64;
constexpr char kMessage[kMessageBytes] = "a message";

void BM_SendOneByOne(benchmark::State& state) {
    Connection connection;
    for (auto _ : state) {
        if (connection.socket.Send(kMessage, kMessageBytes) != static_cast<int>(kMessageBytes)) {
            state.SkipWithError("not sent");
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SendOneByOne)->UseRealTime();

void BM_SendBatch(benchmark::State& state) {
    const auto batch_bytes = static_cast<std::size_t>(state.range(0));
    Connection connection;
    ZTK::CSendBatch batch(&connection.socket);
    for (auto _ : state) {
        if (!batch.Add(kMessage, kMessageBytes) ||
            (batch.GetSize() >= batch_bytes && !batch.Send())) {
            state.SkipWithError("not sent");
        }
    }
    batch.Send();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SendBatch)->Arg(1024)->Arg(4096)->Arg(16384)->Arg(65536)->Arg(262144)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    // The C library's locks cost less in a process that never had a second thread.
    std::thread([] {}).join();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
