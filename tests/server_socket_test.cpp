// Server sockets: listening, accepting, and the listener thread's ways to end.
#include <gtest/gtest.h>

#include "support/loopback.h"
#include "support/text.h"
#include "ztk/sockets.h"

namespace {

using ZTK::CClientSocket;
using ZTK::CSocketUtil;
using ztk_test::Endpoint;
using ztk_test::ExpectThreadEnds;
using ztk_test::kIPv4;
using ztk_test::Server;

class ServerSocketBothFamilies : public ztk_test::LoopbackTest {};

INSTANTIATE_TEST_SUITE_P(Loopback, ServerSocketBothFamilies,
                         testing::Values(ztk_test::kIPv4, ztk_test::kIPv6),
                         [](const auto& info) { return info.param.name; });

TEST_P(ServerSocketBothFamilies, ConnectionsAreAcceptedOneAfterAnother) {
    EXPECT_TRUE(server_.socket.Pause());
    EXPECT_TRUE(server_.socket.Resume());
    for (int i = 0; i < 3; ++i) {
        CClientSocket client(0);
        const std::uint64_t peer = Connect(client);
        ASSERT_NE(peer, 0U);
        int dont_linger = 0;
        EXPECT_EQ(CSocketUtil::GetOptions(peer, SOL_SOCKET, SO_DONTLINGER, &dont_linger, 4), 0);
        EXPECT_NE(dont_linger, 0);
        sockaddr_in6 address{};
        int bytes = sizeof(address);
        EXPECT_EQ(CSocketUtil::GetPeerName(peer, reinterpret_cast<sockaddr*>(&address), &bytes), 0);
        EXPECT_EQ(address.sin6_family, family_.number);
        client.Shutdown();
        closesocket(static_cast<SOCKET>(peer));
    }
    EXPECT_EQ(server_.listener.created, 1);
    EXPECT_EQ(server_.listener.listens, 1);
    EXPECT_EQ(server_.listener.errors, 0);
}

TEST_P(ServerSocketBothFamilies, PortInUseIsReportedOnce) {
    Server second(Endpoint(family_, server_.port()));
    EXPECT_FALSE(second.Start());
    ExpectThreadEnds(second.socket);
    EXPECT_EQ(second.listener.created, 1);
    EXPECT_EQ(second.listener.listens, 0);
    EXPECT_EQ(second.listener.errors, 1);
    EXPECT_EQ(second.listener.error, WSAEADDRINUSE);
    EXPECT_EQ(second.socket.GetLastError(), 0U) << "bind failures do not set it";
    EXPECT_NE(second.socket.GetSocket(), 0U) << "stays open until Shutdown";
    EXPECT_EQ(second.socket.Listen(), -1) << "one listener thread per object";
}

TEST_P(ServerSocketBothFamilies, PortIsFreeAtOnceAlsoAfterConnections) {
    const unsigned short port = server_.port();
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    // The server's side closes first, so that its address is the one that lingers in TIME_WAIT.
    CClientSocket(nullptr, peer, 0).Shutdown();
    EXPECT_EQ(client.Read(), 0);
    client.Shutdown();
    server_.Stop();
    Server next(Endpoint(family_, port));
    EXPECT_TRUE(next.Start()) << "error " << next.listener.error;
}

class ServerSocket : public ztk_test::IPv4LoopbackTest {};

TEST_F(ServerSocket, AnyHostListensOnEveryAddress) {
    for (const wchar_t* host : {L"any", L"Any", L""}) {
        ZTK::TSOSocketInfo info = Endpoint(kIPv4, 0, L"");
        ZTK::StrCopy(info.host, host);
        Server server(info);
        ASSERT_TRUE(server.Start());
        EXPECT_TEXT(L"0.0.0.0", server.listener.address_text);
        EXPECT_EQ(server.listener.endpoint_port, 0);
        EXPECT_GT(ZTK::StrLength(server.socket.GetHost()), 0U);
    }
}

TEST_F(ServerSocket, StopDuringAnAcceptIsNoError) {
    server_.Stop();
    EXPECT_EQ(server_.listener.errors, 0);
    EXPECT_EQ(server_.socket.GetLastError(), 0U);
    EXPECT_EQ(server_.socket.Listen(), -1);
}

TEST_F(ServerSocket, ShutdownWithoutAStopRequestIsAnError) {
    server_.socket.Shutdown();
    ExpectThreadEnds(server_.socket);
    EXPECT_EQ(server_.listener.errors, 1);
    EXPECT_NE(server_.listener.error, 0);
    EXPECT_EQ(server_.socket.GetLastError(), static_cast<DWORD>(server_.listener.error));
}

TEST_F(ServerSocket, StopRequestBeforeTheFirstAcceptEndsTheThread) {
    Server server(Endpoint(kIPv4, 0));
    server.listener.stopping = true;
    EXPECT_TRUE(server.Start());
    ExpectThreadEnds(server.socket);
    EXPECT_EQ(server.listener.listens, 1);
    EXPECT_EQ(server.socket.GetSocket(), 0U);
}

TEST_F(ServerSocket, ConnectionDuringAStopIsNotHandedOn) {
    server_.listener.stopping = true;
    CClientSocket client(0);
    ZTK::TSOSocketInfo info = Endpoint(kIPv4, server_.port());
    // Accepted and closed, or not accepted any more if the thread looked before it accepted.
    if (client.Connect(&info)) {
        EXPECT_LE(client.Read(), 0);
    }
    ExpectThreadEnds(server_.socket);
    EXPECT_TRUE(server_.listener.accepted().empty());
    EXPECT_EQ(server_.listener.errors, 0);
    client.Shutdown();
}

TEST_F(ServerSocket, CallbackMayShutTheServerDown) {
    server_.listener.shut_down_in_callback = true;
    CClientSocket client(0);
    EXPECT_NE(Connect(client), 0U);
    ExpectThreadEnds(server_.socket);
    EXPECT_EQ(server_.listener.errors, 0);
    client.Shutdown();
}

TEST_F(ServerSocket, UnresolvedHostIsReportedAndLeavesTheLastError) {
    Server server(Endpoint(kIPv4, 0, L"::1"));  // not an IPv4 address
    EXPECT_FALSE(server.Start());
    ExpectThreadEnds(server.socket);
    EXPECT_EQ(server.listener.errors, 1);
    EXPECT_NE(server.listener.error, 0);
    EXPECT_EQ(server.socket.GetLastError(), 0U);
}

}  // namespace
