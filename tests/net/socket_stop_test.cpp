// Worker threads that are blocked in a call end when their socket is shut down, every time, and
// leave nothing behind.
#include <gtest/gtest.h>

#include <chrono>

#include "support/faults.h"
#include "support/loopback.h"
#include "support/open_handles.h"

namespace {

// Fails when the scope takes longer than it may.
class TimeBound {
  public:
    ~TimeBound() { EXPECT_LT(std::chrono::steady_clock::now() - start_, std::chrono::seconds(1)); }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

struct SocketStop : ztk_test::IPv4LoopbackTest {
    // A connection whose receiver thread has reached its receive, shut down from here.
    void StopOneReceiver() {
        ztk_test::Receiver receiver;
        ZTK::CClientSocket client(&receiver, 0);
        const std::uint64_t peer = StartReceiving(client);
        ztk_test::SendFrom(peer, "x");
        ASSERT_TRUE(receiver.received.Wait());
        {
            const TimeBound bound;
            client.Shutdown();
            ExpectReceiverEnds(client);
        }
        EXPECT_EQ(receiver.disconnects, 0);
        closesocket(static_cast<SOCKET>(peer));
    }

    void StopOneListener() {
        ztk_test::Server server(ztk_test::Endpoint(family_, 0));
        ASSERT_TRUE(server.Start());
        const TimeBound bound;
        server.Stop();
        EXPECT_EQ(server.errors, 0);
    }

    // The first cycles fill what is kept for later use: ring slots, tables, the resolver's state.
    template <typename Cycle>
    void ExpectNoLeaks(Cycle cycle) {
        int handles = 0;
        long long blocks = 0;
        for (int i = 0; i < 1300 && !HasFailure(); ++i) {
            if (i == 300) {
                handles = ztk_test::OpenHandles();
                blocks = ztk_test::LiveBlocks();
            }
            (this->*cycle)();
        }
        EXPECT_LE(ztk_test::OpenHandles(), handles);
        EXPECT_LE(ztk_test::LiveBlocks(), blocks);
    }
};

TEST_F(SocketStop, ReceiversWakeEveryTime) {
    ExpectNoLeaks(&SocketStop::StopOneReceiver);
}

TEST_F(SocketStop, ListenersWakeEveryTime) {
    ExpectNoLeaks(&SocketStop::StopOneListener);
}

}  // namespace
