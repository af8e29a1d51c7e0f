// Server sockets: listening, accepting, and the listener thread's ways to end.
#include <gtest/gtest.h>

#include "support/loopback.h"
#include "support/text.h"
#include "ztk/sockets.h"

namespace {

using ZTK::CClientSocket;
using namespace ztk_test;

using ServerSocket = ztk_test::IPv4LoopbackTest;
using ServerSocketBothFamilies = ztk_test::LoopbackTest;

INSTANTIATE_TEST_SUITE_P(Loopback, ServerSocketBothFamilies,
                         testing::Values(kIPv4, ztk_test::kIPv6),
                         [](const auto& info) { return info.param.name; });

TEST_P(ServerSocketBothFamilies, ConnectionsAreAcceptedOneAfterAnother) {
    EXPECT_TRUE(server_.socket.Pause());
    EXPECT_TRUE(server_.socket.Resume());
    for (int i = 0; i < 3; ++i) {
        CClientSocket client(0);
        EXPECT_NE(ztk_test::GetOption<int>(Connect(client), SO_DONTLINGER), 0);
        client.Shutdown();
    }
    EXPECT_EQ(server_.created, 1);
    EXPECT_EQ(server_.listens, 1);
    server_.Stop();
    EXPECT_EQ(server_.errors, 0) << "a stop during an accept is none";
    EXPECT_EQ(server_.socket.GetLastError(), 0U);
    EXPECT_EQ(server_.socket.Listen(), -1) << "one listener thread per object";
}

TEST_P(ServerSocketBothFamilies, PortInUseAndForeignHostAreReportedOnceAndLeaveTheLastError) {
    ZTK::TSOSocketInfo no_stream = Endpoint(family_, 0);  // cannot listen
    no_stream.protocol = IPPROTO_UDP;
    no_stream.socketType = SOCK_DGRAM;
    const wchar_t* foreign = family_.number == kIPv4.number ? L"::1" : L"127.0.0.1";
    for (const auto& endpoint :
         {Endpoint(family_, server_.port()), Endpoint(family_, 0, foreign), no_stream}) {
        Server second(endpoint);
        EXPECT_FALSE(second.Start());
        ExpectThreadEnds(second.socket);
        EXPECT_EQ(second.listens, 0);
        EXPECT_EQ(second.errors, 1);
        EXPECT_NE(second.error, 0);
        EXPECT_TRUE(second.error == WSAEADDRINUSE || endpoint.port == 0) << second.error;
        EXPECT_EQ(second.socket.GetLastError() != 0, endpoint.protocol == IPPROTO_UDP);
        EXPECT_NE(second.socket.GetSocket(), 0U) << "stays open until Shutdown";
    }
}

TEST_P(ServerSocketBothFamilies, PortIsFreeAtOnceAlsoAfterConnections) {
    Server next(Endpoint(family_, server_.port()));
    // The server's side closes first, so that its address is the one that lingers in TIME_WAIT.
    CClientSocket(nullptr, Connect(client_), 0).Shutdown();
    EXPECT_EQ(client_.Read(), 0);
    client_.Shutdown();
    server_.Stop();
    EXPECT_TRUE(next.Start()) << "error " << next.error;
}

TEST_F(ServerSocket, AnyHostListensOnEveryAddress) {
    for (const wchar_t* host : {L"any", L"Any", L""}) {
        Server server(Endpoint(kIPv4, 0, host));
        ASSERT_TRUE(server.Start());
        EXPECT_TEXT(L"0.0.0.0", server.address_text);
        EXPECT_EQ(server.endpoint_port, 0);
        EXPECT_GT(ZTK::StrLength(server.socket.GetHost()), 0U);
    }
}

// The listener's exit code: 1 for a stop that it noticed between two connections, else 0.
void ExpectExitCode(HANDLE listener, DWORD expected) {
    DWORD code = ~expected;
    EXPECT_EQ(WaitForSingleObject(listener, ztk_test::kPatience), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeThread(listener, &code) && code == expected) << code;
    EXPECT_TRUE(CloseHandle(listener));
}

TEST_F(ServerSocket, ShutdownWithoutAStopRequestIsAnError) {
    HANDLE const listener = ZTK::GetThreadHandle(server_.socket.GetThreadID());
    server_.socket.Shutdown();
    ExpectThreadEnds(server_.socket);
    ExpectExitCode(listener, 0);
    EXPECT_EQ(server_.errors, 1);
    EXPECT_NE(server_.error, 0);
    EXPECT_EQ(server_.socket.GetLastError(), static_cast<DWORD>(server_.error));
}

TEST_F(ServerSocket, StopRequestBeforeTheFirstAcceptEndsTheThread) {
    Server server(Endpoint(kIPv4, 0));
    server.stopping = true;
    EXPECT_TRUE(server.Start());
    ExpectThreadEnds(server.socket);
    EXPECT_EQ(server.socket.GetSocket(), 0U);
}

TEST_F(ServerSocket, ConnectionDuringAStopIsNotHandedOn) {
    ZTK::TSOSocketInfo info = Endpoint(kIPv4, server_.port());
    server_.stopping = true;
    // Accepted and closed, or not accepted any more if the thread looked before it accepted.
    if (client_.Connect(&info)) {
        EXPECT_LE(client_.Read(), 0);
    }
    ExpectThreadEnds(server_.socket);
    EXPECT_TRUE(server_.accepted.empty());
    EXPECT_EQ(server_.errors, 0);
}

TEST_F(ServerSocket, AStopEndsTheThreadEveryTime) {
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        Server server(Endpoint(kIPv4, 0));
        ASSERT_TRUE(server.Start());
        server.Stop();
        EXPECT_EQ(server.errors, 0);
    }
}

TEST_F(ServerSocket, CallbackMayShutTheServerDown) {
    HANDLE const listener = ZTK::GetThreadHandle(server_.socket.GetThreadID());
    server_.shut_down_in_callback = true;
    Connect(client_);
    ExpectThreadEnds(server_.socket);
    ExpectExitCode(listener, 1);
    EXPECT_EQ(server_.errors, 0);
}

TEST_F(ServerSocket, ListenerLeavesHandlesToWhoeverHasThem) {
    Server server(Endpoint(kIPv4, 0));
    ASSERT_TRUE(server.Start());
    HANDLE handed_out = ZTK::GetThreadHandle(server.socket.GetThreadID());
    server.Stop();
    EXPECT_EQ(WaitForSingleObject(handed_out, ztk_test::kPatience), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(handed_out));
    ZTK::WaitRegisteredThreadsExit(0);
    ztk_test::Gate agents;
    server_.StopUnregistered(agents.event);
    agents.Open();
    EXPECT_TRUE(agents.Wait()) << "an agent had registered it under the listener's id";
}

}  // namespace
