// What the layer adds to the system's sockets, where the system by itself behaves otherwise.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/loopback.h"
#include "support/text.h"
#include "ztk/ztk.h"

namespace {

using ZTK::CClientSocket;
using ZTK::CSocketUtil;
using ztk_test::Abort;
using ztk_test::Endpoint;
using ztk_test::kIPv4;
using ztk_test::Receiver;

class PosixSocket : public ztk_test::IPv4LoopbackTest {};

TEST(PosixSocketStart, NothingWorksBefore) {
    addrinfo* list = nullptr;
    EXPECT_FALSE(CSocketUtil::GetAddrInfoW(L"127.0.0.1", L"80", nullptr, &list));
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
    CClientSocket client(0);
    ZTK::TSOSocketInfo info = Endpoint(kIPv4, 80);
    EXPECT_FALSE(client.Connect(&info));
    EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSANOTINITIALISED));
    EXPECT_EQ(closesocket(1), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
}

TEST_F(PosixSocket, ResolverErrorsAreTranslated) {
    struct Row {
        const wchar_t* host;
        const wchar_t* service;
        int family;
        int type;
        int flags;
        int code;
    };
    constexpr Row kRows[] = {
        {L"::1", L"80", 2, SOCK_STREAM, 0, WSAHOST_NOT_FOUND},
        {L"name", L"80", 2, SOCK_STREAM, AI_NUMERICHOST, WSAHOST_NOT_FOUND},
        {nullptr, nullptr, 2, SOCK_STREAM, 0, WSAHOST_NOT_FOUND},
        {L"127.0.0.1", L"no-such", 2, SOCK_STREAM, 0, WSATYPE_NOT_FOUND},
        {L"127.0.0.1", L"80", 77, SOCK_STREAM, 0, WSAEAFNOSUPPORT},
        {L"127.0.0.1", L"80", 2, 99, 0, WSAESOCKTNOSUPPORT},
        {nullptr, L"80", 2, SOCK_STREAM, 1 << 20, WSAEINVAL},
    };
    for (const Row& row : kRows) {
        addrinfo hints{};
        hints.ai_family = row.family;
        hints.ai_socktype = row.type;
        hints.ai_flags = row.flags;
        addrinfo* list = nullptr;
        EXPECT_FALSE(CSocketUtil::GetAddrInfoW(row.host, row.service, &hints, &list));
        EXPECT_EQ(WSAGetLastError(), row.code) << "row " << &row - kRows;
    }
}

TEST_F(PosixSocket, OldHandleDoesNotReachTheNextSocketOnItsDescriptor) {
    constexpr std::uint64_t kDescriptor = 0xFFFFFFFF;
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    const std::uint64_t old = client.GetSocket();
    client.Shutdown();
    const std::uint64_t second_peer = Connect(client);
    ASSERT_EQ(client.GetSocket() & kDescriptor, old & kDescriptor);
    ASSERT_NE(client.GetSocket(), old);
    EXPECT_EQ(CClientSocket(nullptr, old, 0).Send("x", 1), -1);
    EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
    EXPECT_EQ(closesocket(old), SOCKET_ERROR);
    EXPECT_EQ(client.Send("x", 1), 1);
    client.Shutdown();
    closesocket(peer);
    closesocket(second_peer);
}

TEST_F(PosixSocket, ResetDuringAReceiveIsReportedByEveryLaterCall) {
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    std::thread aborter([peer] { Abort(peer); });
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client.Read(), -1);
        EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSAECONNRESET));
    }
    aborter.join();
    EXPECT_EQ(client.Send("x", 1), -1);
    EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSAECONNRESET));
    client.Shutdown();
}

// Here and not with the other client tests, because Wine may report a reset to a thread that waits
// for it as an orderly end.
TEST_F(PosixSocket, ResetEndsTheReceiverThreadWithoutACallback) {
    Receiver receiver;
    CClientSocket client(&receiver, 0);
    const std::uint64_t peer = Connect(client);
    HANDLE thread = client.Receive(0);
    Abort(peer);
    EXPECT_EQ(WaitForSingleObject(thread, ztk_test::kPatience), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_EQ(receiver.disconnects, 0);
    EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSAECONNRESET));
    EXPECT_TEXT(L"An existing connection was forcibly closed by the remote host.",
                client.GetErrorDesc());
    EXPECT_EQ(client.GetSocket(), 0U);
}

TEST_F(PosixSocket, ResetThatASenderSeesFirstIsNoDisconnect) {
    for (int round = 0; round < 200; ++round) {
        Receiver receiver;
        CClientSocket client(&receiver, 0);
        const std::uint64_t peer = Connect(client);
        ASSERT_NE(peer, 0U);
        HANDLE thread = client.Receive(0);
        std::thread sender([&client] {
            while (client.Send("x", 1) > 0) {
            }
        });
        Abort(peer);
        sender.join();
        EXPECT_EQ(WaitForSingleObject(thread, ztk_test::kPatience), WAIT_OBJECT_0);
        CloseHandle(thread);
        ASSERT_EQ(receiver.disconnects, 0) << "round " << round;
    }
}

TEST_F(PosixSocket, AbortReachesThePeerAlsoWhileAThreadReceives) {
    Receiver receiver;
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    CClientSocket blocked(&receiver, peer, 0);
    HANDLE thread = blocked.Receive(0);
    EXPECT_EQ(client.Send("x", 1), 1);
    EXPECT_TRUE(receiver.received.Wait());
    Abort(peer);
    EXPECT_EQ(client.Read(), -1);
    EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSAECONNRESET));
    EXPECT_EQ(WaitForSingleObject(thread, ztk_test::kPatience), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_EQ(receiver.disconnects, 0);
    client.Shutdown();
}

// A listener of the system's own that takes no more connections: connecting to it hangs.
class FullListener {
  public:
    FullListener() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), length), 0);
        EXPECT_EQ(::listen(listener_, 0), 0);
        EXPECT_EQ(::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length), 0);
        port = ntohs(address.sin_port);
        for (int& filler : fillers_) {
            filler = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            (void)::connect(filler, reinterpret_cast<sockaddr*>(&address), length);
        }
    }
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;
    ~FullListener() {
        for (const int filler : fillers_) {
            ::close(filler);
        }
        ::close(listener_);
    }

    unsigned short port = 0;

  private:
    int listener_;
    int fillers_[3];
};

TEST_F(PosixSocket, ShutdownEndsAConnectAtWhateverPointItIs) {
    const FullListener listener;
    int interrupted = 0;
    for (int round = 0; round < 200; ++round) {
        CClientSocket client(0);
        std::thread connecting([&client, &listener] {
            ZTK::TSOSocketInfo info = Endpoint(kIPv4, listener.port);
            EXPECT_FALSE(client.Connect(&info));
        });
        while (client.GetSocket() == 0) {
            std::this_thread::yield();
        }
        for (int delay = 0; delay < round % 20; ++delay) {
            std::this_thread::yield();
        }
        client.Shutdown();
        connecting.join();
        interrupted += client.GetLastError() == static_cast<DWORD>(WSAEINTR);
    }
    EXPECT_GT(interrupted, 0) << "no connect ever got as far as waiting";
}

// Wine does not always wake such a send.
TEST_F(PosixSocket, ShutdownEndsASendThatThePeerDoesNotTake) {
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    ztk_test::Gate full;
    std::thread sender([&] {
        const std::string block(1 << 16, 'x');
        client.SetAsyncMode(1);
        while (client.Send(block.data(), static_cast<int>(block.size())) > 0) {
        }
        client.SetAsyncMode(0);
        full.Open();
        while (client.Send(block.data(), static_cast<int>(block.size())) > 0) {
        }
    });
    EXPECT_TRUE(full.Wait());
    client.Shutdown();
    sender.join();
    closesocket(peer);
}

TEST_F(PosixSocket, ReuseOptionDoesNotShareALivePort) {
    class Reusing final : public ZTK::ISOListener {
      public:
        bool IsStopping() override { return false; }
        void OnSocketCreated(std::uint64_t socket) override {
            int enable = 1;
            EXPECT_EQ(CSocketUtil::SetOptions(socket, SOL_SOCKET, SO_REUSEADDR, &enable, 4), 0);
            enable = 0;
            EXPECT_EQ(CSocketUtil::GetOptions(socket, SOL_SOCKET, SO_REUSEADDR, &enable, 4), 0);
            EXPECT_NE(enable, 0);
        }
        void OnAccept(ZTK::CServerSocket*, std::uint64_t) override {}
        void OnListen(const wchar_t*, const wchar_t*, unsigned short) override { done.Open(); }
        void OnError(ZTK::CServerSocket*, int code) override {
            error = code;
            done.Open();
        }
        int error = 0;
        ztk_test::Gate done;
    };
    Reusing listener;
    ZTK::TSOSocketInfo info = Endpoint(kIPv4, server_.port());
    ZTK::CServerSocket second(&listener, 0, &info);
    EXPECT_GE(second.Listen(), 0);
    EXPECT_TRUE(listener.done.Wait());
    EXPECT_EQ(listener.error, WSAEADDRINUSE);
    second.Shutdown();
    ztk_test::ExpectThreadEnds(second);
}

// Descriptors that a child process would inherit.
int InheritedDescriptors() {
    int count = 0;
    DIR* directory = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(directory)) {
        const int flags = fcntl(std::atoi(entry->d_name), F_GETFD);
        count += entry->d_name[0] != '.' && flags >= 0 && (flags & FD_CLOEXEC) == 0;
    }
    closedir(directory);
    return count;
}

TEST_F(PosixSocket, DescriptorsAreNotInherited) {
    const int before = InheritedDescriptors();
    CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    EXPECT_EQ(InheritedDescriptors(), before);
    client.Shutdown();
    closesocket(peer);
}

}  // namespace
