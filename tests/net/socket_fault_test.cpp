// Sockets when memory is short.
#include <gtest/gtest.h>

#include "support/faults.h"
#include "support/loopback.h"

namespace {

using ZTK::CClientSocket;

struct SocketFault : ztk_test::IPv4LoopbackTest {
    // Connects, wraps the accepted end and moves a byte, when the first n requests pass. What
    // cannot be done for lack of memory must fail by its stated result; the rest goes on.
    void UseSockets(ztk_test::Receiver& receiver, ZTK::TSOSocketInfo info, long long n) {
        ztk_test::FailAfter(n);
        CClientSocket client(0);
        if (!client.Connect(&info)) {
            EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSA_NOT_ENOUGH_MEMORY));
            client.Shutdown();
            return;
        }
        CClientSocket wrapped(&receiver, server_.NextAccepted(), 0);
        thread_ = wrapped.Receive(0);
        EXPECT_EQ(client.Send("x", 1), 1);
        if (thread_ == nullptr) {
            EXPECT_EQ(wrapped.GetThreadID(), 0U);
            ZTK::DeRegisterThread(0);
        } else if (wrapped.GetBuffer() != nullptr) {
            EXPECT_TRUE(receiver.received.Wait());
        }
        wrapped.Shutdown();
        EXPECT_LE(client.SetBufferSize(100'000), 100'000);
        EXPECT_EQ(client.Read(), 0);
        client.Shutdown();
        if (thread_ != nullptr) {
            ExpectReceiverEnds(wrapped);
        }
    }
};

TEST_F(SocketFault, EveryRefusedRequestLeavesAStatedResult) {
    // Ring slots so large that no request needs a new one: without memory a ring ends the process.
    for (int i = 0; i < 256; ++i) {
        char* narrow = nullptr;
        wchar_t* wide = nullptr;
        ZTK::ZTKGetTmpString(narrow, 2048);
        ZTK::ZTKGetTmpString(wide, 2048);
    }
    const ZTK::TSOSocketInfo info = ztk_test::Endpoint(family_, server_.port());
    UseSockets(receiver_, info, 1'000'000);
    long long passed = -1;
    for (long long requests = 0; requests > passed;) {
        SCOPED_TRACE(++passed);
        ztk_test::Receiver receiver;
        const long long live = ztk_test::LiveBlocks();
        const long long before = ztk_test::Requests();
        UseSockets(receiver, info, passed);
        ztk_test::StopFailing();
        EXPECT_EQ(ztk_test::LiveBlocks(), live);
        requests = ztk_test::Requests() - before;
    }
}

}  // namespace
