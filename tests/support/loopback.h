// Servers, clients and their recorders on real loopback sockets.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <vector>

#include "ztk/ztk.h"

namespace ztk_test {

// The bound on what should take no time at all.
inline constexpr DWORD kPatience = 10'000;

// An event: once opened it stays open for all who wait, or lets one of them pass.
struct Gate {
    explicit Gate(BOOL stays = TRUE) : event(CreateEventW(nullptr, stays, FALSE, nullptr)) {}
    ~Gate() { CloseHandle(event); }
    void Open() { SetEvent(event); }
    [[nodiscard]] bool Wait() { return WaitForSingleObject(event, kPatience) == WAIT_OBJECT_0; }

    HANDLE event;
};

struct Family {
    unsigned short number;
    const wchar_t* host;
    const wchar_t* text;  // of the address when it has a port
    const char* name;
};

inline constexpr Family kIPv4 = {2, L"127.0.0.1", L"127.0.0.1", "IPv4"};
inline constexpr Family kIPv6 = {23, L"::1", L"[::1]", "IPv6"};

inline ZTK::TSOSocketInfo Endpoint(const Family& family, unsigned short port,
                                   const wchar_t* host = nullptr) {
    ZTK::TSOSocketInfo info{family.number, IPPROTO_TCP, SOCK_STREAM, {}, port};
    ZTK::StrCopy(info.host, host == nullptr ? family.host : host);
    return info;
}

inline void SetOption(std::uint64_t socket, int option, auto value) {
    EXPECT_EQ(ZTK::CSocketUtil::SetOptions(socket, SOL_SOCKET, option, &value, sizeof(value)), 0);
}

template <typename Value>
Value GetOption(std::uint64_t socket, int option) {
    Value value;
    std::memset(&value, 0x77, sizeof(value));
    EXPECT_EQ(ZTK::CSocketUtil::GetOptions(socket, SOL_SOCKET, option, &value, sizeof(value)), 0);
    return value;
}

// Closes a socket so that its peer is reset.
inline void Abort(std::uint64_t socket) {
    SetOption(socket, SO_LINGER, linger{1, 0});
    closesocket(static_cast<SOCKET>(socket));
}

// Sends from a socket that stays open.
inline void SendFrom(std::uint64_t socket, const char* text) {
    const int length = static_cast<int>(std::strlen(text));
    EXPECT_EQ(ZTK::CClientSocket(nullptr, socket, 0).Send(text, length), length);
}

// What a receiver thread reports.
struct Receiver final : ZTK::ISOReceiver {
    bool IsStopping() override { return stopping; }
    bool OnReceive(ZTK::CClientSocket* socket, unsigned char* data, int length) override {
        text.append(reinterpret_cast<char*>(data), static_cast<std::size_t>(length));
        longest = length > longest ? length : longest;
        if (shut_down_in_callback) {
            socket->Shutdown();
        }
        received.Open();
        return go_on;
    }
    void OnDisconnect(ZTK::CClientSocket*) override { ++disconnects; }

    bool stopping = false, go_on = true, shut_down_in_callback = false;  // set before it starts
    std::atomic<int> disconnects{0};
    Gate received;
    std::string text;  // to be read, as longest, when the thread has ended
    int longest = 0;
};

// Waits for an object's worker thread, which must end in time.
inline void ExpectThreadEnds(ZTK::CSocket& socket) {
    socket.WaitForThreadExit(static_cast<int>(kPatience));
    EXPECT_EQ(ZTK::GetThreadHandle(socket.GetThreadID()), nullptr) << "the thread still runs";
}

// A server and what its listener thread reports. Stopped at the end of its scope; what it accepted
// is closed then.
struct Server : ZTK::ISOListener {
    explicit Server(ZTK::TSOSocketInfo endpoint) : socket(this, 0, &endpoint) {}
    ~Server() {
        Stop();
        for (const std::uint64_t peer : accepted) {
            closesocket(static_cast<SOCKET>(peer));
        }
    }

    // Whether it listens.
    [[nodiscard]] bool Start() { return socket.Listen() >= 0 && started.Wait() && errors == 0; }
    void Stop() {
        stopping = true;
        socket.Shutdown();
        ExpectThreadEnds(socket);
    }
    // The same after WaitRegisteredThreadsExit. The end is seen by that of another entry under the
    // thread's id, with whatever handle.
    void StopUnregistered(HANDLE handle) {
        const unsigned int id = socket.GetThreadID();
        ZTK::RegisterThread(id, handle);
        stopping = true;
        socket.Shutdown();
        while (ZTK::GetThreadNotify(id) != nullptr) {
            Sleep(0);
        }
    }
    // The port that the system chose, while it listens.
    [[nodiscard]] unsigned short port() {
        sockaddr_in6 address{};  // the port is at the same place for IPv4
        int bytes = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(ZTK::CSocketUtil::GetSockName(socket.GetSocket(), generic, &bytes), 0);
        return ntohs(address.sin6_port);
    }
    // The connection that was just made, waiting for it; 0 when none comes.
    std::uint64_t NextAccepted() {
        const bool came = accept.Wait();
        const std::lock_guard<std::mutex> guard(lock);
        return came ? accepted.back() : 0;
    }

    bool IsStopping() override { return stopping; }
    void OnSocketCreated(std::uint64_t) override { ++created; }
    void OnAccept(ZTK::CServerSocket* server, std::uint64_t peer) override {
        const std::lock_guard<std::mutex> guard(lock);
        accepted.push_back(peer);
        if (shut_down_in_callback) {
            stopping = true;
            server->Shutdown();
        }
        accept.Open();
    }
    void OnListen(const wchar_t*, const wchar_t* address, unsigned short port) override {
        ZTK::StrCopy(address_text, address);
        endpoint_port = port;
        ++listens;
        started.Open();
    }
    void OnError(ZTK::CServerSocket*, int code) override {
        error = code;
        ++errors;
        started.Open();
    }

    std::atomic<bool> stopping{false}, shut_down_in_callback{false};
    std::atomic<int> created{0}, listens{0}, errors{0}, error{0};
    Gate started;  // listening, or failed; what follows was written before
    wchar_t address_text[1025] = {};
    unsigned short endpoint_port = 0;
    std::vector<std::uint64_t> accepted;  // to be read when the thread has ended
    ZTK::CServerSocket socket;
    std::mutex lock;  // of `accepted`
    Gate accept{FALSE};
};

// A test with a listening server of its family, and verbs to connect to it.
struct LoopbackTest : testing::TestWithParam<Family> {
    static void SetUpTestSuite() { ZTK::InitWSA(); }
    static void TearDownTestSuite() { ZTK::CloseWSA(); }

    explicit LoopbackTest(Family family) : family_(family), server_(Endpoint(family, 0)) {}
    LoopbackTest() : LoopbackTest(GetParam()) {}

    void SetUp() override {
        if (!server_.Start()) {
            ASSERT_EQ(family_.number, kIPv6.number) << "error " << server_.error;
            GTEST_SKIP() << "no IPv6 loopback here, error " << server_.error;
        }
    }

    // Connects and returns the server's end, 0 on failure. The server closes it.
    std::uint64_t Connect(ZTK::CClientSocket& client) {
        ZTK::TSOSocketInfo info = Endpoint(family_, server_.port());
        const std::uint64_t peer = client.Connect(&info) ? server_.NextAccepted() : 0;
        EXPECT_NE(peer, 0U);
        return peer;
    }
    // The same, and starts the receiver thread.
    std::uint64_t StartReceiving(ZTK::CClientSocket& client) {
        const std::uint64_t peer = Connect(client);
        thread_ = client.Receive(0);
        return peer;
    }
    // The handle stays open until then, because the registry holds the same one. STILL_ACTIVE
    // stands for any code.
    void ExpectReceiverEnds(ZTK::CClientSocket& client, DWORD expected_code = 1) {
        DWORD code = 77;
        EXPECT_EQ(WaitForSingleObject(thread_, kPatience), WAIT_OBJECT_0);
        EXPECT_NE(GetExitCodeThread(thread_, &code), FALSE);
        EXPECT_TRUE(code == expected_code || expected_code == STILL_ACTIVE) << code;
        CloseHandle(thread_);
        EXPECT_EQ(ZTK::GetThreadHandle(client.GetThreadID()), nullptr);
    }

    Family family_;
    Server server_;
    Receiver receiver_;
    HANDLE thread_ = nullptr;
    ZTK::CClientSocket client_{&receiver_, 0};
};

struct IPv4LoopbackTest : LoopbackTest {
    IPv4LoopbackTest() : LoopbackTest(kIPv4) {}
};

}  // namespace ztk_test
