// Worker threads that are blocked in a call end when their socket is shut down, every time, and
// leave nothing behind.
#include <gtest/gtest.h>

#include <chrono>

#include "support/faults.h"
#include "support/loopback.h"
#include "support/open_handles.h"

namespace {

using ZTK::CClientSocket;
using ztk_test::Endpoint;
using ztk_test::kIPv4;

constexpr int kCycles = 1000;
constexpr auto kBound = std::chrono::seconds(1);

// Fails when the process holds more at the end of the scope than at its start.
class NoLeaks {
  public:
    NoLeaks() : handles_(ztk_test::OpenHandles()), blocks_(ztk_test::LiveBlocks()) {}
    ~NoLeaks() {
        EXPECT_LE(ztk_test::OpenHandles(), handles_);
        EXPECT_LE(ztk_test::LiveBlocks(), blocks_);
    }

  private:
    int handles_;
    long long blocks_;
};

// Fails when the scope takes longer than it may.
class TimeBound {
  public:
    ~TimeBound() { EXPECT_LT(std::chrono::steady_clock::now() - start_, kBound); }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

class SocketStop : public ztk_test::IPv4LoopbackTest {
  public:
    // A connection whose receiver thread has reached its receive, shut down from here.
    void StopOneReceiver() {
        ztk_test::Receiver receiver;
        CClientSocket client(&receiver, 0);
        const std::uint64_t peer = Connect(client);
        ASSERT_NE(peer, 0U);
        HANDLE thread = client.Receive(0);
        ASSERT_EQ(CClientSocket(nullptr, peer, 0).Send("x", 1), 1);
        ASSERT_TRUE(receiver.received.Wait());
        {
            const TimeBound bound;
            client.Shutdown();
            EXPECT_EQ(WaitForSingleObject(thread, ztk_test::kPatience), WAIT_OBJECT_0);
        }
        CloseHandle(thread);
        EXPECT_EQ(receiver.disconnects, 0);
        closesocket(static_cast<SOCKET>(peer));
    }

    static void StopOneListener() {
        ztk_test::Server server(Endpoint(kIPv4, 0));
        ASSERT_TRUE(server.Start());
        const TimeBound bound;
        server.Stop();
        EXPECT_EQ(server.listener.errors, 0);
    }
};

// The first cycles fill what is kept for later use: ring slots, tables, the resolver's state.
constexpr int kWarmUp = 300;

TEST_F(SocketStop, ReceiversWakeEveryTime) {
    for (int i = 0; i < kWarmUp && !HasFatalFailure(); ++i) {
        StopOneReceiver();
    }
    const NoLeaks no_leaks;
    for (int i = 0; i < kCycles && !HasFatalFailure(); ++i) {
        StopOneReceiver();
    }
}

TEST_F(SocketStop, ListenersWakeEveryTime) {
    for (int i = 0; i < kWarmUp && !HasFatalFailure(); ++i) {
        StopOneListener();
    }
    const NoLeaks no_leaks;
    for (int i = 0; i < kCycles && !HasFatalFailure(); ++i) {
        StopOneListener();
    }
}

}  // namespace
