// Client sockets: connecting, sending, and the receiver thread with its ways to end.
#include "ztk/sockets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/loopback.h"
#include "support/refuse_each.h"
#include "support/text.h"

namespace {

using ZTK::CClientSocket;

// Shows the members that a derived class sees.
struct OpenClientSocket : CClientSocket {
    using CClientSocket::CClientSocket;
    using CSocket::family_, CSocket::protocol_, CSocket::socket_type_;
};

// Receives until there are so many bytes in all.
void ReadUntil(CClientSocket& peer, std::string& received, std::size_t bytes) {
    while (received.size() < bytes) {
        const int length = peer.Read();
        ASSERT_GT(length, 0);
        received.append(reinterpret_cast<char*>(peer.GetBuffer()),
                        static_cast<std::size_t>(length));
    }
}

using ClientSocket = ztk_test::IPv4LoopbackTest;
using ClientSocketBothFamilies = ztk_test::LoopbackTest;

INSTANTIATE_TEST_SUITE_P(Loopback, ClientSocketBothFamilies,
                         testing::Values(ztk_test::kIPv4, ztk_test::kIPv6),
                         [](const auto& info) { return info.param.name; });

TEST_P(ClientSocketBothFamilies, BytesArriveInOrderInChunksThatFitTheBuffer) {
    CClientSocket client(4);
    client.SetReceiver(&receiver_);
    const std::uint64_t peer = StartReceiving(client);
    EXPECT_TEXT(family_.text, client.GetIPAddress());
    EXPECT_EQ(client.GetPort(), server_.port());
    ztk_test::SendFrom(peer, "in chunks of four");
    CClientSocket(nullptr, peer, 0).Shutdown();
    ExpectReceiverEnds(client);
    EXPECT_EQ(receiver_.text, "in chunks of four");
    EXPECT_EQ(receiver_.longest, 4);
    EXPECT_EQ(receiver_.disconnects, 1);
    EXPECT_EQ(client.GetLastError(), 0U);
    EXPECT_EQ(client.Receive(0), nullptr) << "one receiver thread per object";
}

TEST_P(ClientSocketBothFamilies, WrappedSocketKnowsItsPeerButKeepsTheDefaults) {
    OpenClientSocket wrapped(nullptr, Connect(client_), 0);
    EXPECT_TEXT(family_.text, wrapped.GetIPAddress());
    EXPECT_GT(ZTK::StrLength(wrapped.GetHost()), 0U);
    EXPECT_EQ(wrapped.GetPort(), 0);
    EXPECT_EQ(wrapped.family_, 2);
    EXPECT_EQ(wrapped.protocol_, IPPROTO_TCP);
    EXPECT_EQ(wrapped.socket_type_, 1);
}

TEST_F(ClientSocket, NoEndFromThisSideIsADisconnect) {
    for (const std::string end :
         {"refused", "stop request", "no receiver", "shutdown", "shutdown in the callback"}) {
        SCOPED_TRACE(end);
        ztk_test::Receiver receiver;
        receiver.go_on = end != "refused";
        receiver.stopping = end == "stop request";
        receiver.shut_down_in_callback = end == "shutdown in the callback";
        CClientSocket client(end == "no receiver" ? nullptr : &receiver, 0);
        ztk_test::SendFrom(StartReceiving(client), "last");
        if (end == "shutdown") {
            EXPECT_TRUE(receiver.received.Wait());
            client.Shutdown();
        }
        ExpectReceiverEnds(client);
        EXPECT_EQ(receiver.text, end == "stop request" || end == "no receiver" ? "" : "last");
        EXPECT_EQ(receiver.disconnects, 0);
        EXPECT_EQ(client.GetSocket(), 0U);
        EXPECT_TRUE(client.GetLastError() == 0 || end == "shutdown");
    }
}

TEST_F(ClientSocket, ShutdownFromManyThreadsClosesOnce) {
    // Also in time, every time, and whether or not the thread has reached its receive.
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        CClientSocket client(&receiver_, 0);
        const std::uint64_t peer = StartReceiving(client);
        if (round % 2 == 0) {
            ResetEvent(receiver_.received.event);
            ztk_test::SendFrom(peer, "x");
            EXPECT_TRUE(receiver_.received.Wait());
        }
        ztk_test::Gate start;
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
        ExpectReceiverEnds(client, round % 2 == 0 ? 1 : STILL_ACTIVE);
    }
    EXPECT_EQ(receiver_.disconnects, 0);
}

TEST_F(ClientSocket, DestructionLeavesTheConnectionOpen) {
    std::optional<CClientSocket> client(0);
    CClientSocket peer(nullptr, Connect(*client), 0);
    const std::uint64_t kept = client->GetSocket();
    client.reset();
    ztk_test::SendFrom(kept, "x");
    EXPECT_EQ(peer.Read(), 1);
    { ZTK::CSocket base(kept, 0); }
    EXPECT_EQ(peer.Read(), 0) << "the base class closes";
}

TEST_F(ClientSocket, ConnectsAgainAfterShutdownAndOverAnOpenConnection) {
    CClientSocket first_peer(nullptr, Connect(client_), 0);
    Connect(client_);
    EXPECT_EQ(first_peer.Read(), 0) << "the first connection was shut down";
    client_.Shutdown();
    Connect(client_);
    EXPECT_EQ(client_.Send("x", 1), 1);
}

TEST_F(ClientSocket, FailedConnectsSetTheLastError) {
    ZTK::TSOSocketInfo info = Endpoint(family_, server_.port());
    server_.Stop();
    for (const auto& [family, error] : {std::pair(2, WSAECONNREFUSED), {17, WSAEAFNOSUPPORT}}) {
        CClientSocket client(0);
        info.family = static_cast<unsigned short>(family);
        EXPECT_FALSE(client.Connect(&info, INFINITE));
        EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(error));
        EXPECT_FALSE(client.Connect(&info));
        EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(error));
        EXPECT_NE(client.GetSocket(), 0U) << "stays open until Shutdown";
        client.Shutdown();
        EXPECT_EQ(client.GetSocket(), 0U);
    }
}

// Accepts one connection and keeps few waiting: connecting to it hangs then.
struct BusyServer : ztk_test::Server {
    using Server::Server;
    // Stopped here: while its thread runs, this part of the object is asked for.
    ~BusyServer() {
        go_on.Open();
        Stop();
    }
    void OnAccept(ZTK::CServerSocket* server, std::uint64_t peer) override {
        // The system's own call: on Linux the descriptor is the low half of the handle.
        using SystemSocket = decltype(::socket(0, 0, 0));
        EXPECT_EQ(::listen(static_cast<SystemSocket>(server->GetSocket()), 0), 0);
        Server::OnAccept(server, peer);
        EXPECT_TRUE(go_on.Wait());
    }
    ztk_test::Gate go_on;
};

TEST_F(ClientSocket, ConnectingEndsByItsDeadlineOrByShutdown) {
    BusyServer server(Endpoint(family_, 0));
    ASSERT_TRUE(server.Start());
    ZTK::TSOSocketInfo info = Endpoint(family_, server.port());
    std::deque<CClientSocket> clients;
    EXPECT_TRUE(clients.emplace_back(0).Connect(&info, ztk_test::kPatience));
    EXPECT_NE(server.NextAccepted(), 0U);
    while (clients.size() < 9 && clients.emplace_back(0).Connect(&info, 100)) {
    }
    EXPECT_EQ(clients.back().GetLastError(), static_cast<DWORD>(WSAETIMEDOUT));
    EXPECT_EQ(clients.back().GetSocket(), 0U);
    for (int round = 0; round < 40; ++round) {
        const DWORD time = round % 2 == 0 ? INFINITE : ztk_test::kPatience;
        std::thread connecting([&] { EXPECT_FALSE(client_.Connect(&info, time)); });
        while (client_.GetSocket() == 0) {
            std::this_thread::yield();
        }
        Sleep(static_cast<DWORD>(round % 8));
        client_.Shutdown();
        connecting.join();
        ASSERT_EQ(client_.GetLastError(), static_cast<DWORD>(WSAEINTR)) << "round " << round;
    }
    for (CClientSocket& client : clients) {
        client.Shutdown();
    }
}

TEST_F(ClientSocket, SendAllGoesOnFromWhereItsDeadlineEndedIt) {
    CClientSocket peer(nullptr, StartReceiving(client_), 1 << 16);
    std::string all(24'000'000, ' ');  // more than the system keeps
    std::generate(all.begin(), all.end(),
                  [i = 0]() mutable { return static_cast<char>(++i % 251); });
    std::string received;
    std::size_t done = 0;
    for (const DWORD time : {DWORD{0}, DWORD{50}, DWORD{0}}) {
        std::uint64_t sent = 0;
        EXPECT_FALSE(client_.SendAll(all.data() + done, all.size() - done, time, &sent));
        EXPECT_EQ(client_.GetLastError(), static_cast<DWORD>(WSAETIMEDOUT));
        done += sent;
        ReadUntil(peer, received, done);
    }
    EXPECT_GT(done, 0U);
    std::uint64_t sent = 0;
    std::thread reader([&] { ReadUntil(peer, received, all.size()); });
    EXPECT_TRUE(client_.SendAll(all.data() + done, all.size() - done, INFINITE, &sent));
    reader.join();
    EXPECT_EQ(done + sent, all.size());
    EXPECT_TRUE(received == all);
    ztk_test::SendFrom(peer.GetSocket(), "x");
    EXPECT_TRUE(receiver_.received.Wait()) << "the receiver thread was not disturbed";
    client_.Shutdown();
    ExpectReceiverEnds(client_);
}

TEST_F(ClientSocket, SendAllEndsWithTheConnection) {
    const std::string text(24'000'000, 'x');
    for (int round = 0; round < 20; ++round) {
        const bool by_peer = round % 2 != 0;
        CClientSocket peer(nullptr, Connect(client_), 0);
        std::thread sending(
            [&] { EXPECT_FALSE(client_.SendAll(text.data(), text.size(), INFINITE)); });
        EXPECT_GT(peer.Read(), 0);
        Sleep(static_cast<DWORD>(round * round / 4));
        by_peer ? ztk_test::Abort(peer.GetSocket()) : client_.Shutdown();
        sending.join();
        ASSERT_EQ(client_.GetLastError(), static_cast<DWORD>(by_peer ? WSAECONNRESET : WSAEINTR));
        client_.Shutdown();
    }
}

TEST_F(ClientSocket, SendAllTellsWhyItSentNothing) {
    std::uint64_t sent = 1;
    EXPECT_FALSE(client_.SendAll("x", 1, 0, &sent));
    EXPECT_EQ(sent, 0U);
    EXPECT_EQ(client_.GetLastError(), static_cast<DWORD>(WSAENOTCONN));
    Connect(client_);
    EXPECT_TRUE(client_.SendAll(nullptr, 0, 0));
    EXPECT_FALSE(client_.SendAll(nullptr, 1, 0));
    client_.Shutdown();
    EXPECT_FALSE(client_.SendAll("x", 1, 0));
    EXPECT_EQ(client_.GetLastError(), static_cast<DWORD>(WSAEFAULT)) << "which was there before";
}

TEST_F(ClientSocket, WithoutASocketNothingHappens) {
    EXPECT_EQ(client_.Send("x", 1), 0);
    EXPECT_EQ(client_.Read(), 0);
    client_.SetAsyncMode(1);
    client_.Shutdown();
    client_.WaitForThreadExit(0);
    EXPECT_EQ(client_.GetLastError(), 0U);
    thread_ = client_.Receive(0);
    ExpectReceiverEnds(client_, 0);
    EXPECT_EQ(receiver_.disconnects, 0);
}

TEST_F(ClientSocket, NonBlockingReadsFailAtOnceAndTheThreadBlocks) {
    const std::uint64_t peer = Connect(client_);
    client_.SetAsyncMode(1);
    EXPECT_EQ(client_.Read(), -1);
    EXPECT_EQ(client_.GetLastError(), static_cast<DWORD>(WSAEWOULDBLOCK));
    thread_ = client_.Receive(0);
    ztk_test::SendFrom(peer, "x");
    EXPECT_TRUE(receiver_.received.Wait()) << "the thread switched to blocking mode";
    client_.Shutdown();
    ExpectReceiverEnds(client_);
}

TEST_F(ClientSocket, ABatchGoesOnWhereTheSystemTookAPart) {
    CClientSocket peer(nullptr, Connect(client_), 1 << 20);
    ZTK::CSendBatch batch(&client_);
    std::string all;
    // More than the system keeps for a peer that does not read.
    for (std::size_t length = 0; all.size() < 24'000'000; length = (length * 2 + 7) % 100'003) {
        const std::string message(length, static_cast<char>('a' + length % 26));
        ASSERT_TRUE(batch.Add(message.data(), length));
        all += message;
    }
    EXPECT_EQ(batch.GetSize(), all.size());
    client_.SetAsyncMode(1);
    std::string received;
    std::uint64_t sent = 0;
    std::uint64_t calls = 0;
    for (std::uint64_t total = 0; !batch.Send(&sent); ++calls) {
        ASSERT_EQ(client_.GetLastError(), static_cast<DWORD>(WSAEWOULDBLOCK));
        total += sent;
        ASSERT_EQ(batch.GetSize(), all.size() - total);
        ReadUntil(peer, received, total);
    }
    EXPECT_GT(calls, 0U) << "the first call sent all";
    EXPECT_TRUE(batch.Send(&sent));
    EXPECT_EQ(sent, 0U);
    ReadUntil(peer, received, all.size());
    EXPECT_TRUE(received == all);
    peer.Shutdown();
}

TEST_F(ClientSocket, ABatchThatCannotBeSentStaysUntilItIsCleared) {
    for (CClientSocket* const socket : {&client_, static_cast<CClientSocket*>(nullptr)}) {
        ZTK::CSendBatch batch(socket);
        EXPECT_TRUE(batch.Send());
        EXPECT_FALSE(batch.Add(nullptr, 1));
        EXPECT_FALSE(batch.Add("x", static_cast<std::size_t>(-1)));
        EXPECT_TRUE(batch.Add(nullptr, 0));
        EXPECT_TRUE(batch.Add("message", 7));
        std::uint64_t sent = 1;
        EXPECT_FALSE(batch.Send(&sent));
        EXPECT_EQ(sent, 0U);
        EXPECT_EQ(batch.GetSize(), 7U);
        batch.Clear();
        EXPECT_TRUE(batch.Send(&sent));
    }
}

TEST_F(ClientSocket, BufferGrowsAndNeverShrinks) {
    constexpr int kRows[][3] = {{0, 0, 8912},   {-1, 100, 8912}, {0, 65536, 65536},
                                {100, 0, 8912}, {100, 99, 100},  {1, 2, 2}};
    for (const auto& [initial, requested, size] : kRows) {
        CClientSocket client(initial);
        EXPECT_EQ(client.SetBufferSize(requested), size);
        EXPECT_EQ(client.GetBufferSize(), size);
        client.GetBuffer()[size - 1] = 1;
    }
}

// --- When memory is short

struct SocketFault : ztk_test::IPv4LoopbackTest {
    void TearDown() override { server_.StopUnregistered(nullptr); }

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
        ZTK::RegisterThread(1, nullptr);
        ZTK::WaitRegisteredThreadsExit(0);  // leaves no memory for the next registration
        thread_ = wrapped.Receive(0);
        EXPECT_TRUE(wrapped.GetBuffer() == nullptr ||
                    ZTK::GetThreadHandle(wrapped.GetThreadID()) == thread_);
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
            ExpectReceiverEnds(wrapped, wrapped.GetBuffer() != nullptr ? 1 : 0);
        }
        return complete;
    }
};

TEST_F(SocketFault, EveryRefusedRequestLeavesAStatedResult) {
    const ZTK::TSOSocketInfo info = ztk_test::Endpoint(family_, server_.port());
    EXPECT_TRUE(UseSockets(info));
    ztk_test::RefuseEach(ztk_test::FailAfter, [&] { return UseSockets(info); });
    ztk_test::RefuseEach(ztk_test::FailAfter, [] {
        ZTK::CSendBatch batch(nullptr);
        const std::string message(100'000, 'x');
        std::size_t added = 0;
        bool complete = true;
        for (const std::size_t length : {std::size_t{1}, std::size_t{5'000}, message.size()}) {
            const bool fits = batch.Add(message.data(), length);
            added += fits ? length : 0;
            complete = complete && fits;
            EXPECT_EQ(batch.GetSize(), added);
        }
        return complete;
    });
}

}  // namespace
