// What the layer adds to the system's sockets, where the system by itself behaves otherwise.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/loopback.h"
#include "support/text.h"

namespace {

using ZTK::CClientSocket;
using ZTK::CSocketUtil;

constexpr DWORD kReset = WSAECONNRESET;

using PosixSocket = ztk_test::IPv4LoopbackTest;

TEST(PosixSocketStart, NothingWorksBefore) {
    addrinfo* list = nullptr;
    EXPECT_FALSE(CSocketUtil::GetAddrInfoW(L"127.0.0.1", L"80", nullptr, &list));
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
    CClientSocket client(0);
    ZTK::TSOSocketInfo info = Endpoint(ztk_test::kIPv4, 80);
    EXPECT_FALSE(client.Connect(&info));
    EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSANOTINITIALISED));
    EXPECT_EQ(closesocket(1), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
}

TEST_F(PosixSocket, ResolverErrorsAreTranslated) {
    const struct {
        const wchar_t *host, *service;
        int family, type, flags, code;
    } rows[] = {
        {L"::1", L"80", 2, SOCK_STREAM, 0, WSAHOST_NOT_FOUND},
        {nullptr, nullptr, 2, SOCK_STREAM, 0, WSAHOST_NOT_FOUND},
        {L"127.0.0.1", L"no-such", 2, SOCK_STREAM, 0, WSATYPE_NOT_FOUND},
        {L"127.0.0.1", L"80", 77, SOCK_STREAM, 0, WSAEAFNOSUPPORT},
        {L"127.0.0.1", L"80", 2, 99, 0, WSAESOCKTNOSUPPORT},
        {nullptr, L"80", 2, SOCK_STREAM, 1 << 20, WSAEINVAL},
    };
    for (const auto& row : rows) {
        addrinfo hints{};
        std::tie(hints.ai_flags, hints.ai_family, hints.ai_socktype) =
            std::tie(row.flags, row.family, row.type);
        addrinfo* list = nullptr;
        EXPECT_FALSE(CSocketUtil::GetAddrInfoW(row.host, row.service, &hints, &list));
        EXPECT_EQ(WSAGetLastError(), row.code) << "row " << &row - rows;
    }
}

TEST_F(PosixSocket, AddressWithoutANameGivesItsTextUnlessANameIsRequired) {
    const sockaddr address{AF_INET, "\0\0\x7F\0\0\1"};
    ZTK::TSOHostNameW host{};
    EXPECT_EQ(CSocketUtil::GetHostNameW(&address, 16, &host, NI_NAMEREQD), WSATRY_AGAIN);
    EXPECT_EQ(CSocketUtil::GetHostNameW(&address, 16, &host, 0), 0);
    EXPECT_TEXT(L"127.0.0.1", host.name);
}

TEST_F(PosixSocket, OldHandleDoesNotReachTheNextSocketOnItsDescriptor) {
    Connect(client_);
    const std::uint64_t old = client_.GetSocket();
    Connect(client_);
    ASSERT_EQ(static_cast<unsigned>(client_.GetSocket()), static_cast<unsigned>(old));
    ASSERT_NE(client_.GetSocket(), old);
    EXPECT_EQ(CClientSocket(nullptr, old, 0).Send("x", 1), -1);
    EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
    EXPECT_EQ(closesocket(old), SOCKET_ERROR);
    EXPECT_EQ(client_.Send("x", 1), 1);
}

TEST_F(PosixSocket, ResetDuringAReceiveIsReportedByEveryLaterCall) {
    std::thread aborter(ztk_test::Abort, Connect(client_));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client_.Read(), -1);
        EXPECT_EQ(client_.GetLastError(), kReset);
    }
    aborter.join();
    EXPECT_EQ(client_.Send("x", 1), -1);
    EXPECT_EQ(client_.GetLastError(), kReset);
}

// Here and not with the other client tests, because Wine may report a reset to a thread that waits
// for it as an orderly end.
TEST_F(PosixSocket, ResetEndsTheThreadsThatReceiveOnBothSidesWithoutACallback) {
    const std::uint64_t peer = Connect(client_);
    ztk_test::Receiver aborted;
    CClientSocket blocked(&aborted, peer, 0);
    HANDLE thread = blocked.Receive(0);
    ztk_test::SendFrom(client_.GetSocket(), "x");
    EXPECT_TRUE(aborted.received.Wait());
    thread_ = client_.Receive(0);
    ztk_test::Abort(peer);
    ExpectReceiverEnds(client_);
    EXPECT_EQ(client_.GetLastError(), kReset);
    EXPECT_TEXT(L"An existing connection was forcibly closed by the remote host.",
                client_.GetErrorDesc());
    thread_ = thread;
    ExpectReceiverEnds(blocked);
    EXPECT_EQ(receiver_.disconnects + aborted.disconnects, 0);
}

void SendUntilItFails(CClientSocket& client_, int bytes) {
    const std::string block(1 << 16, 'x');
    while (client_.Send(block.data(), bytes) > 0) {
    }
}

TEST_F(PosixSocket, ResetThatASenderSeesFirstIsNoDisconnect) {
    for (int round = 0; round < 200; ++round) {
        CClientSocket client(&receiver_, 0);
        const std::uint64_t peer = StartReceiving(client);
        std::thread sender(SendUntilItFails, std::ref(client), 1);
        ztk_test::Abort(peer);
        sender.join();
        ExpectReceiverEnds(client);
        ASSERT_EQ(receiver_.disconnects, 0) << "round " << round;
    }
}

// A connection whose peer takes nothing more, and whose client is back in blocking mode.
void FillConnection(CClientSocket& client) {
    client.SetAsyncMode(1);
    SendUntilItFails(client, 1 << 16);
    client.SetAsyncMode(0);
}

TEST_F(PosixSocket, TimedOutConnectionIsReportedByEveryLaterCall) {
    Connect(client_);
    unsigned patience = 50;
    (void)CSocketUtil::SetOptions(client_.GetSocket(), IPPROTO_TCP, TCP_USER_TIMEOUT, &patience, 4);
    FillConnection(client_);
    SendUntilItFails(client_, 1 << 16);
    for (const int receives : {1, 1, 0, 1}) {
        EXPECT_EQ(client_.GetLastError(), DWORD{WSAETIMEDOUT});
        EXPECT_EQ(receives != 0 ? client_.Read() : client_.Send("x", 1), -1);
    }
}

TEST_F(PosixSocket, ResetIsTheLastErrorAlsoWhenASendWasBlocked) {
    for (int round = 0; round < 40; ++round) {
        CClientSocket client(&receiver_, 0);
        const std::uint64_t peer = Connect(client);
        FillConnection(client);
        thread_ = client.Receive(0);
        std::thread sender(SendUntilItFails, std::ref(client), 1 << 16);
        for (int delay = 0; delay < round; ++delay) {
            std::this_thread::yield();
        }
        ztk_test::Abort(peer);
        sender.join();
        ExpectReceiverEnds(client);
        // Or the sender was late and found the socket closed.
        ASSERT_NE(client.GetLastError(), DWORD{WSAEINTR}) << "round " << round;
    }
}

TEST_F(PosixSocket, ShutdownEndsAConnectAtWhateverPointItIs) {
    // A listener of the system's own that takes no more connections: connecting to it hangs.
    int sockets[4];
    for (int& socket : sockets) {
        socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    }
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof(address);
    ASSERT_EQ(::bind(sockets[0], generic, length) | ::listen(sockets[0], 0), 0);
    ASSERT_EQ(::getsockname(sockets[0], generic, &length), 0);
    for (int i = 1; i < 4; ++i) {
        (void)::connect(sockets[i], generic, length);
    }
    int interrupted = 0;
    for (int round = 0; round < 200; ++round) {
        CClientSocket client(0);
        std::thread connecting([&client, port = ntohs(address.sin_port)] {
            ZTK::TSOSocketInfo info = Endpoint(ztk_test::kIPv4, port);
            EXPECT_FALSE(client.Connect(&info));
        });
        for (int delay = 0; delay < round % 20 || client.GetSocket() == 0; ++delay) {
            std::this_thread::yield();
        }
        client.Shutdown();
        connecting.join();
        interrupted += client.GetLastError() == static_cast<DWORD>(WSAEINTR);
    }
    EXPECT_GT(interrupted, 0) << "no connect ever got as far as waiting";
    for (const int socket : sockets) {
        ::close(socket);
    }
}

// Wine does not always wake such a send.
TEST_F(PosixSocket, ShutdownEndsASendThatThePeerDoesNotTake) {
    Connect(client_);
    ztk_test::Gate full;
    std::thread sender([&] {
        FillConnection(client_);
        full.Open();
        SendUntilItFails(client_, 1 << 16);
    });
    EXPECT_TRUE(full.Wait());
    client_.Shutdown();
    sender.join();
}

TEST_F(PosixSocket, KeepAliveTimesAreThoseAskedFor) {
    Connect(client_);
    EXPECT_EQ(CSocketUtil::SetKeepAlive(client_.GetSocket(), 32767, 5), 0);
    for (const auto& [option, expected] :
         {std::pair(TCP_KEEPIDLE, 32767), {TCP_KEEPINTVL, 5}, {TCP_KEEPCNT, 10}}) {
        int value = 0;
        CSocketUtil::GetOptions(client_.GetSocket(), IPPROTO_TCP, option, &value, sizeof(value));
        EXPECT_EQ(value, expected);
    }
}

TEST_F(PosixSocket, ReuseOptionDoesNotShareALivePort) {
    struct Reusing final : ztk_test::Server {
        using Server::Server;
        void OnSocketCreated(std::uint64_t created) override {
            ztk_test::SetOption(created, SO_REUSEADDR, 1);
            EXPECT_NE(ztk_test::GetOption<int>(created, SO_REUSEADDR), 0);
        }
    };
    Reusing second(Endpoint(family_, server_.port()));
    EXPECT_FALSE(second.Start());
    EXPECT_EQ(second.error, WSAEADDRINUSE);
}

std::ptrdiff_t RunningThreads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

// The registry is emptied, and its handles are closed, while the threads are being started.
TEST(PosixSocketStart, ReceiversRunThoughTheRegistryLetsGoOfThemAtOnce) {
    std::atomic<bool> emptying{true};
    const auto empty = [&] {
        while (emptying) {
            ZTK::WaitRegisteredThreadsExit(0);
        }
    };
    std::thread others[] = {std::thread(empty), std::thread(empty), std::thread(empty)};
    const std::ptrdiff_t running = RunningThreads();
    std::deque<CClientSocket> clients;
    std::vector<HANDLE> handles;
    for (int i = 0; i < 500; ++i) {
        handles.push_back(clients.emplace_back(1).Receive(0));
    }
    for (DWORD i = 0; i < ztk_test::kPatience && RunningThreads() > running; ++i) {
        Sleep(1);
    }
    EXPECT_LE(RunningThreads(), running) << "some were never resumed";
    emptying = false;
    std::for_each(others, std::end(others), [](std::thread& other) { other.join(); });
    std::for_each(handles.begin(), handles.end(), CloseHandle);
}

TEST_F(PosixSocket, DescriptorsAreNotInherited) {
    const std::uint64_t peer = Connect(client_);
    for (const std::uint64_t socket : {client_.GetSocket(), peer, server_.socket.GetSocket()}) {
        EXPECT_EQ(::fcntl(static_cast<int>(socket), F_GETFD), FD_CLOEXEC);
    }
}

}  // namespace
