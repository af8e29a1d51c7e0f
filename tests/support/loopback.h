// Servers, clients and their recorders on real loopback sockets.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "ztk/ztk.h"

namespace ztk_test {

// The bound on what should take no time at all.
inline constexpr DWORD kPatience = 20'000;

// Opened once, waited for by any number of threads.
class Gate {
  public:
    Gate() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    ~Gate() { CloseHandle(event_); }

    void Open() { SetEvent(event_); }
    [[nodiscard]] bool Wait() const {
        return WaitForSingleObject(event_, kPatience) == WAIT_OBJECT_0;
    }

  private:
    HANDLE event_;
};

struct Family {
    unsigned short number;
    const wchar_t* host;
    const wchar_t* text;  // of the address when it has a port
    const char* name;
};

inline constexpr Family kIPv4 = {2, L"127.0.0.1", L"127.0.0.1", "IPv4"};
inline constexpr Family kIPv6 = {23, L"::1", L"[::1]", "IPv6"};

inline std::ostream& operator<<(std::ostream& out, const Family& family) {
    return out << family.name;
}

inline ZTK::TSOSocketInfo Endpoint(const Family& family, unsigned short port,
                                   const wchar_t* host = nullptr) {
    ZTK::TSOSocketInfo info{family.number, IPPROTO_TCP, SOCK_STREAM, {}, port};
    ZTK::StrCopy(info.host, host == nullptr ? family.host : host);
    return info;
}

// The local port of a socket, 0 when it has none.
inline unsigned short LocalPort(std::uint64_t socket) {
    sockaddr_in6 address{};  // the port is at the same place for IPv4
    int bytes = sizeof(address);
    return ZTK::CSocketUtil::GetSockName(socket, reinterpret_cast<sockaddr*>(&address), &bytes) == 0
               ? ntohs(address.sin6_port)
               : static_cast<unsigned short>(0);
}

// Counts what a receiver thread reports.
class Receiver final : public ZTK::ISOReceiver {
  public:
    bool IsStopping() override { return stopping; }
    bool OnReceive(ZTK::CClientSocket* socket, unsigned char* data, int length) override {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            text_.append(reinterpret_cast<char*>(data), static_cast<std::size_t>(length));
            if (length > longest_) {
                longest_ = length;
            }
        }
        if (shut_down_in_callback) {
            socket->Shutdown();
        }
        received.Open();
        return go_on;
    }
    void OnDisconnect(ZTK::CClientSocket*) override { ++disconnects; }

    std::string text() {
        const std::lock_guard<std::mutex> guard(lock_);
        return text_;
    }
    int longest() {
        const std::lock_guard<std::mutex> guard(lock_);
        return longest_;
    }

    std::atomic<bool> stopping{false};
    std::atomic<bool> go_on{true};
    std::atomic<bool> shut_down_in_callback{false};
    std::atomic<int> disconnects{0};
    Gate received;

  private:
    std::mutex lock_;
    std::string text_;
    int longest_ = 0;
};

// Counts what a listener thread reports and keeps what it accepted.
class Listener final : public ZTK::ISOListener {
  public:
    ~Listener() {
        for (const std::uint64_t socket : accepted()) {
            closesocket(static_cast<SOCKET>(socket));
        }
    }

    bool IsStopping() override { return stopping; }
    void OnSocketCreated(std::uint64_t socket) override {
        ++created;
        socket_ = socket;
    }
    void OnAccept(ZTK::CServerSocket* server, std::uint64_t socket) override {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            accepted_.push_back(socket);
        }
        if (shut_down_in_callback) {
            stopping = true;
            server->Shutdown();
        }
        SetEvent(accept_event_.get());
    }
    void OnListen(const wchar_t*, const wchar_t* address, unsigned short port) override {
        ZTK::StrCopy(address_text, address);
        endpoint_port = port;
        listened_port = LocalPort(socket_);
        ++listens;
        started.Open();
    }
    void OnError(ZTK::CServerSocket*, int code) override {
        error = code;
        ++errors;
        started.Open();
    }

    // The next connection, waiting for it; 0 when none comes.
    std::uint64_t NextAccepted() {
        for (;;) {
            {
                const std::lock_guard<std::mutex> guard(lock_);
                if (!accepted_.empty()) {
                    const std::uint64_t first = accepted_.front();
                    accepted_.erase(accepted_.begin());
                    return first;
                }
            }
            if (WaitForSingleObject(accept_event_.get(), kPatience) != WAIT_OBJECT_0) {
                return 0;
            }
        }
    }
    std::vector<std::uint64_t> accepted() {
        const std::lock_guard<std::mutex> guard(lock_);
        return accepted_;
    }

    std::atomic<bool> stopping{false};
    std::atomic<bool> shut_down_in_callback{false};
    std::atomic<int> created{0};
    std::atomic<int> listens{0};
    std::atomic<int> errors{0};
    std::atomic<int> error{0};
    Gate started;  // listening, or failed
    // Written before `started` opens.
    wchar_t address_text[1025] = {};
    unsigned short endpoint_port = 0;
    unsigned short listened_port = 0;

  private:
    class AutoEvent {
      public:
        AutoEvent() : event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
        AutoEvent(const AutoEvent&) = delete;
        AutoEvent& operator=(const AutoEvent&) = delete;
        ~AutoEvent() { CloseHandle(event_); }
        HANDLE get() const { return event_; }

      private:
        HANDLE event_;
    };

    std::mutex lock_;
    std::vector<std::uint64_t> accepted_;
    AutoEvent accept_event_;
    std::uint64_t socket_ = 0;
};

// Waits for an object's worker thread, which must end in time.
inline void ExpectThreadEnds(ZTK::CSocket& socket) {
    socket.WaitForThreadExit(static_cast<int>(kPatience));
    EXPECT_EQ(ZTK::GetThreadHandle(socket.GetThreadID()), nullptr) << "the thread still runs";
}

// A server with its recorder. Stopped at the end of its scope.
class Server {
  public:
    explicit Server(ZTK::TSOSocketInfo endpoint) : socket(&listener, 0, &endpoint) {}
    ~Server() { Stop(); }

    // Whether it listens.
    [[nodiscard]] bool Start() {
        return socket.Listen() >= 0 && listener.started.Wait() && listener.errors == 0;
    }
    void Stop() {
        listener.stopping = true;
        socket.Shutdown();
        ExpectThreadEnds(socket);
    }
    [[nodiscard]] unsigned short port() const { return listener.listened_port; }

    Listener listener;
    ZTK::CServerSocket socket;
};

// A test with a listening server of its family, and verbs to connect to it.
class LoopbackTest : public testing::TestWithParam<Family> {
  public:
    static void SetUpTestSuite() { ZTK::InitWSA(); }
    static void TearDownTestSuite() { ZTK::CloseWSA(); }

    explicit LoopbackTest(Family family) : family_(family), server_(Endpoint(family, 0)) {}
    LoopbackTest() : LoopbackTest(GetParam()) {}

    void SetUp() override {
        if (!server_.Start()) {
            ASSERT_EQ(family_.number, kIPv6.number) << "error " << server_.listener.error;
            GTEST_SKIP() << "no IPv6 loopback here, error " << server_.listener.error;
        }
    }

    // Connects and returns the server's end, 0 on failure.
    std::uint64_t Connect(ZTK::CClientSocket& client) {
        ZTK::TSOSocketInfo info = Endpoint(family_, server_.port());
        return client.Connect(&info) ? server_.listener.NextAccepted() : 0;
    }

    Family family_;
    Server server_;
};

class IPv4LoopbackTest : public LoopbackTest {
  public:
    IPv4LoopbackTest() : LoopbackTest(kIPv4) {}
};

// Closes a socket so that its peer is reset.
inline void Abort(std::uint64_t socket) {
    linger now{};
    now.l_onoff = 1;
    ASSERT_EQ(ZTK::CSocketUtil::SetOptions(socket, SOL_SOCKET, SO_LINGER, &now, sizeof(now)), 0);
    closesocket(static_cast<SOCKET>(socket));
}

}  // namespace ztk_test
