// Worker threads that are blocked in a call end when their socket is shut down, every time.
#include <gtest/gtest.h>

#include <chrono>

#include "support/loopback.h"

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

    void Repeat(void (SocketStop::*stop)()) {
        for (int i = 0; i < 400 && !HasFailure(); ++i) {
            (this->*stop)();
        }
    }
};

TEST_F(SocketStop, ReceiversWakeEveryTime) {
    Repeat(&SocketStop::StopOneReceiver);
}

TEST_F(SocketStop, ListenersWakeEveryTime) {
    Repeat(&SocketStop::StopOneListener);
}

}  // namespace
