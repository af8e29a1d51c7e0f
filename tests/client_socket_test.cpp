// Client sockets: connecting, sending, and the receiver thread with its ways to end.
#include "ztk/sockets.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "support/loopback.h"
#include "support/text.h"

namespace {

using ZTK::CClientSocket;
using ztk_test::Endpoint;
using ztk_test::Gate;
using ztk_test::Receiver;

// Shows the members that a derived class sees.
class OpenClientSocket : public CClientSocket {
  public:
    using CClientSocket::CClientSocket;
    using CSocket::family_;
    using CSocket::protocol_;
    using CSocket::socket_type_;
};

class ClientSocketBothFamilies : public ztk_test::LoopbackTest {};

INSTANTIATE_TEST_SUITE_P(Loopback, ClientSocketBothFamilies,
                         testing::Values(ztk_test::kIPv4, ztk_test::kIPv6),
                         [](const auto& info) { return info.param.name; });

TEST_P(ClientSocketBothFamilies, BytesArriveInOrderInChunksThatFitTheBuffer) {
    Receiver receiver;
    CClientSocket client(&receiver, 4);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    EXPECT_TEXT(family_.text, client.GetIPAddress());
    EXPECT_EQ(client.GetPort(), server_.port());

    HANDLE thread = client.Receive(0);
    ASSERT_NE(thread, nullptr);
    CClientSocket other(nullptr, peer, 0);
    EXPECT_EQ(other.Send("in chunks of four", 17), 17);
    other.Shutdown();
    EXPECT_EQ(WaitForSingleObject(thread, ztk_test::kPatience), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_TEXT("in chunks of four", receiver.text().c_str());
    EXPECT_EQ(receiver.longest(), 4);
    EXPECT_EQ(receiver.disconnects, 1);
    EXPECT_EQ(client.GetSocket(), 0U);
    EXPECT_EQ(client.GetLastError(), 0U);
    EXPECT_EQ(client.Receive(0), nullptr) << "one receiver thread per object";
}

TEST_P(ClientSocketBothFamilies, WrappedSocketKnowsItsPeerButKeepsTheDefaults) {
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    OpenClientSocket wrapped(nullptr, peer, 0);
    EXPECT_TEXT(family_.text, wrapped.GetIPAddress());
    EXPECT_GT(ZTK::StrLength(wrapped.GetHost()), 0U);
    EXPECT_EQ(wrapped.GetPort(), 0);
    EXPECT_EQ(wrapped.family_, 2);
    EXPECT_EQ(wrapped.protocol_, IPPROTO_TCP);
    EXPECT_EQ(wrapped.socket_type_, 1);
    wrapped.Shutdown();
}

class ClientSocket : public ztk_test::IPv4LoopbackTest {
  public:
    // Starts the receiver on a fresh connection and returns the peer's end.
    std::uint64_t StartReceiving(CClientSocket& client) {
        const std::uint64_t peer = Connect(client);
        EXPECT_NE(peer, 0U);
        thread_ = client.Receive(0);
        EXPECT_NE(thread_, nullptr);
        return peer;
    }

    // The handle stays open until then, because the registry holds the same one.
    void ExpectReceiverEnds(CClientSocket& client) {
        EXPECT_EQ(WaitForSingleObject(thread_, ztk_test::kPatience), WAIT_OBJECT_0);
        CloseHandle(thread_);
        EXPECT_EQ(ZTK::GetThreadHandle(client.GetThreadID()), nullptr);
    }

    void SendFrom(std::uint64_t peer, const char* text) {
        CClientSocket sender(nullptr, peer, 0);  // does not close the socket
        const int length = static_cast<int>(ZTK::StrLength(text));
        EXPECT_EQ(sender.Send(text, length), length);
    }

    Receiver receiver_;
    HANDLE thread_ = nullptr;
};

TEST_F(ClientSocket, ReceiverCanEndTheThread) {
    CClientSocket client(&receiver_, 0);
    receiver_.go_on = false;
    const std::uint64_t peer = StartReceiving(client);
    SendFrom(peer, "last");
    ExpectReceiverEnds(client);
    EXPECT_TEXT("last", receiver_.text().c_str());
    EXPECT_EQ(receiver_.disconnects, 0);
    EXPECT_EQ(client.GetLastError(), 0U);
    EXPECT_EQ(client.GetSocket(), 0U);
    closesocket(static_cast<SOCKET>(peer));
}

TEST_F(ClientSocket, StopRequestAndMissingReceiverDropTheChunk) {
    receiver_.stopping = true;
    for (ZTK::ISOReceiver* receiver :
         {static_cast<ZTK::ISOReceiver*>(&receiver_), static_cast<ZTK::ISOReceiver*>(nullptr)}) {
        CClientSocket client(receiver, 0);
        const std::uint64_t peer = StartReceiving(client);
        SendFrom(peer, "unheard");
        ExpectReceiverEnds(client);
        EXPECT_TEXT("", receiver_.text().c_str());
        closesocket(static_cast<SOCKET>(peer));
    }
}

TEST_F(ClientSocket, OwnShutdownIsNoDisconnect) {
    for (const bool in_callback : {false, true}) {
        SCOPED_TRACE(in_callback);
        CClientSocket client(&receiver_, 0);
        receiver_.shut_down_in_callback = in_callback;
        const std::uint64_t peer = StartReceiving(client);
        SendFrom(peer, "x");
        EXPECT_TRUE(receiver_.received.Wait());
        if (!in_callback) {
            client.Shutdown();
        }
        ExpectReceiverEnds(client);
        EXPECT_EQ(receiver_.disconnects, 0);
        closesocket(static_cast<SOCKET>(peer));
    }
}

TEST_F(ClientSocket, ShutdownFromManyThreadsClosesOnce) {
    for (int round = 0; round < 50; ++round) {
        CClientSocket client(&receiver_, 0);
        const std::uint64_t peer = StartReceiving(client);
        Gate start;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                EXPECT_TRUE(start.Wait());
                client.Shutdown();
            });
        }
        start.Open();
        for (std::thread& thread : threads) {
            thread.join();
        }
        ExpectReceiverEnds(client);
        EXPECT_EQ(client.GetSocket(), 0U);
        closesocket(static_cast<SOCKET>(peer));
    }
    EXPECT_EQ(receiver_.disconnects, 0);
}

TEST_F(ClientSocket, DestructionLeavesTheConnectionOpen) {
    auto client = std::make_unique<CClientSocket>(0);
    const std::uint64_t peer = Connect(*client);
    const std::uint64_t kept = client->GetSocket();
    client.reset();
    CClientSocket wrapped(nullptr, kept, 0);
    EXPECT_EQ(wrapped.Send("x", 1), 1);
    CClientSocket other(nullptr, peer, 0);
    EXPECT_EQ(other.Read(), 1);
    wrapped.Shutdown();
    EXPECT_EQ(other.Read(), 0);
    other.Shutdown();
}

TEST_F(ClientSocket, DestructionOfTheBaseClosesTheConnection) {
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    { ZTK::CSocket base(peer, 0); }
    EXPECT_EQ(client.Read(), 0);
    client.Shutdown();
}

TEST_F(ClientSocket, ConnectsAgainAfterShutdownAndOverAnOpenConnection) {
    CClientSocket client(0);
    const std::uint64_t first = Connect(client);
    const std::uint64_t second = Connect(client);
    ASSERT_NE(second, 0U);
    CClientSocket first_peer(nullptr, first, 0);
    EXPECT_EQ(first_peer.Read(), 0) << "the first connection was shut down";
    client.Shutdown();
    const std::uint64_t third = Connect(client);
    ASSERT_NE(third, 0U);
    EXPECT_EQ(client.Send("x", 1), 1);
    client.Shutdown();
    for (const std::uint64_t socket : {first, second, third}) {
        closesocket(static_cast<SOCKET>(socket));
    }
}

TEST_F(ClientSocket, FailedConnectsSetTheLastError) {
    const unsigned short port = server_.port();
    server_.Stop();
    struct Row {
        unsigned short family;
        int error;
    };
    constexpr Row kRows[] = {{2, WSAECONNREFUSED}, {17, WSAEAFNOSUPPORT}};
    for (const Row& row : kRows) {
        CClientSocket client(0);
        ZTK::TSOSocketInfo info = Endpoint(family_, port);
        info.family = row.family;
        EXPECT_FALSE(client.Connect(&info));
        EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(row.error));
        EXPECT_NE(client.GetSocket(), 0U) << "stays open until Shutdown";
        client.Shutdown();
        EXPECT_EQ(client.GetSocket(), 0U);
    }
}

TEST_F(ClientSocket, WithoutASocketNothingHappens) {
    CClientSocket client(&receiver_, 0);
    EXPECT_EQ(client.Send("x", 1), 0);
    EXPECT_EQ(client.Read(), 0);
    client.SetAsyncMode(1);
    client.Shutdown();
    client.WaitForThreadExit(0);
    EXPECT_EQ(client.GetLastError(), 0U);
    HANDLE thread = client.Receive(0);
    EXPECT_EQ(WaitForSingleObject(thread, ztk_test::kPatience), WAIT_OBJECT_0);
    DWORD result = 99;
    EXPECT_TRUE(GetExitCodeThread(thread, &result));
    EXPECT_EQ(result, 0U);
    CloseHandle(thread);
    EXPECT_EQ(receiver_.disconnects, 0);
}

TEST_F(ClientSocket, NonBlockingReadsFailAtOnceAndTheThreadBlocks) {
    CClientSocket client(&receiver_, 0);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    client.SetAsyncMode(1);
    EXPECT_EQ(client.Read(), -1);
    EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSAEWOULDBLOCK));
    thread_ = client.Receive(0);
    SendFrom(peer, "x");
    EXPECT_TRUE(receiver_.received.Wait()) << "the thread switched to blocking mode";
    client.Shutdown();
    ExpectReceiverEnds(client);
    closesocket(static_cast<SOCKET>(peer));
}

TEST_F(ClientSocket, BufferGrowsAndNeverShrinks) {
    struct Row {
        int initial;
        int requested;
        int size;
    };
    constexpr Row kRows[] = {
        {0, 0, 8912}, {-1, 100, 8912}, {0, 65536, 65536}, {100, 0, 8912}, {100, 99, 100}, {1, 2, 2},
    };
    for (const Row& row : kRows) {
        CClientSocket client(row.initial);
        EXPECT_EQ(client.SetBufferSize(row.requested), row.size);
        EXPECT_EQ(client.GetBufferSize(), row.size);
        client.GetBuffer()[row.size - 1] = 1;
    }
}

}  // namespace
