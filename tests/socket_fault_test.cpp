// Sockets when memory is short.
#include <gtest/gtest.h>

#include "support/faults.h"
#include "support/loopback.h"
#include "ztk/ztk.h"

namespace {

using ZTK::CClientSocket;

class SocketFault : public ztk_test::IPv4LoopbackTest {
  public:
    // Ring slots large enough that no request needs a new one: the rings end the process when
    // memory is short.
    static void FillRings() {
        for (int i = 0; i < 256; ++i) {
            char* narrow = nullptr;
            wchar_t* wide = nullptr;
            ZTK::ZTKGetTmpString(narrow, 2048);
            ZTK::ZTKGetTmpString(wide, 2048);
        }
    }

    // Connects, wraps the accepted end and moves a byte. What cannot be done for lack of memory
    // must fail by its stated result; the rest goes on.
    void UseSockets(ztk_test::Receiver& receiver) {
        CClientSocket client(0);
        ZTK::TSOSocketInfo info = ztk_test::Endpoint(family_, server_.port());
        if (!client.Connect(&info)) {
            EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSA_NOT_ENOUGH_MEMORY));
            client.Shutdown();
            return;
        }
        CClientSocket wrapped(&receiver, server_.listener.NextAccepted(), 0);
        HANDLE thread = wrapped.Receive(0);
        EXPECT_EQ(client.Send("x", 1), 1);
        if (thread == nullptr) {
            EXPECT_EQ(wrapped.GetThreadID(), 0U);
            ZTK::DeRegisterThread(0);
        } else if (wrapped.GetBuffer() != nullptr) {
            EXPECT_TRUE(receiver.received.Wait());
        }
        wrapped.Shutdown();
        EXPECT_LE(client.SetBufferSize(100'000), 100'000);
        EXPECT_EQ(client.Read(), 0);
        client.Shutdown();
        if (thread != nullptr) {
            EXPECT_EQ(WaitForSingleObject(thread, ztk_test::kPatience), WAIT_OBJECT_0);
            CloseHandle(thread);
        }
    }
};

TEST_F(SocketFault, EveryRefusedRequestLeavesAStatedResult) {
    FillRings();
    {
        ztk_test::Receiver receiver;
        UseSockets(receiver);
    }
    for (long long n = 0;; ++n) {
        SCOPED_TRACE(n);
        ztk_test::Receiver receiver;
        const long long live = ztk_test::LiveBlocks();
        const long long before = ztk_test::Requests();
        ztk_test::FailAfter(n);
        UseSockets(receiver);
        ztk_test::StopFailing();
        EXPECT_EQ(ztk_test::LiveBlocks(), live);
        if (ztk_test::Requests() - before <= n) {
            break;  // nothing was refused any more
        }
    }
}

}  // namespace
