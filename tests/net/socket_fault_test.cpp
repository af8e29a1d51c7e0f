// Sockets when memory is short.
#include <gtest/gtest.h>

#include "support/loopback.h"
#include "support/refuse_each.h"

namespace {

using ZTK::CClientSocket;

struct SocketFault : ztk_test::IPv4LoopbackTest {
    // Connects, wraps the accepted end and moves a byte. What cannot be done for lack of memory
    // must fail by its stated result; the rest goes on. Returns whether nothing failed.
    bool UseSockets(ZTK::TSOSocketInfo info) {
        ResetEvent(receiver_.received.event);
        CClientSocket client(0);
        if (!client.Connect(&info)) {
            EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSA_NOT_ENOUGH_MEMORY));
            client.Shutdown();
            return false;
        }
        CClientSocket wrapped(&receiver_, server_.NextAccepted(), 0);
        thread_ = wrapped.Receive(0);
        EXPECT_EQ(client.Send("x", 1), 1);
        if (thread_ == nullptr) {
            EXPECT_EQ(wrapped.GetThreadID(), 0U);
            ZTK::DeRegisterThread(0);
        } else if (wrapped.GetBuffer() != nullptr) {
            EXPECT_TRUE(receiver_.received.Wait());
        }
        wrapped.Shutdown();
        const bool complete = thread_ != nullptr && wrapped.GetBuffer() != nullptr &&
                              client.SetBufferSize(100'000) == 100'000;
        EXPECT_EQ(client.Read(), 0);
        client.Shutdown();
        if (thread_ != nullptr) {
            ExpectReceiverEnds(wrapped);
        }
        return complete;
    }
};

TEST_F(SocketFault, EveryRefusedRequestLeavesAStatedResult) {
    const ZTK::TSOSocketInfo info = ztk_test::Endpoint(family_, server_.port());
    EXPECT_TRUE(UseSockets(info));
    ztk_test::RefuseEach(ztk_test::FailAfter, [&] { return UseSockets(info); });
}

}  // namespace
