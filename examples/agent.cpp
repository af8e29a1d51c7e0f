// A debugger agent: listens, and answers the requests of any number of peers at once.
//
//     agent --port 9000 --log agent.log
#include <atomic>
#include <cstdio>
#include <iterator>
#include <list>
#include <memory>

#include "command_line.h"
#include "connection.h"
#include "socket_library.h"

namespace {

using example::Connection;
using example::Narrow;

constexpr const char* kUsage =
    "usage: agent [--host HOST] [--port N] [--port-file F] [--ready-event N] [--peers N]\n"
    "             [--serve-for N] [--log F] [--log-hex]\n"
    "\n"
    "Listens for peers and answers their requests (peer sends them; \"help\" lists them).\n"
    "\n"
    "  --host HOST     local name or address to listen on; \"any\" for all (127.0.0.1)\n"
    "  --port N        port to listen on; 0 lets the system choose (0)\n"
    "  --port-file F   write the port to file F once listening has begun\n"
    "  --ready-event N  set the event of name N then, which stays set as long as we run\n"
    "  --peers N       serve up to N peers at a time; further ones are told so (64)\n"
    "  --serve-for N   end when N peers have come and gone (else: never)\n"
    "  --once          the same as --serve-for 1\n"
    "  --log F         write a trace log with all received messages to file F\n"
    "  --log-hex       log messages as hex dumps instead of as text\n"
    "\n"
    "The agent also ends when a peer sends the request \"shutdown\".\n"
    "Exit code: 0 after a clean end, 1 on an error, 2 for a bad command line.\n";

struct Settings {
    std::string host;
    long port = 0;
    std::string port_file;
    std::string ready_event;
    std::size_t peers = 0;
    long serve_for = 0;  // 0: no end
    std::string log;
    bool log_hex = false;
};

// The whole file appears at once, so that whoever waits for it never reads half a number.
bool WritePortFile(const std::string& path, unsigned port) {
    const std::string unfinished = path + ".new";
    std::FILE* file = std::fopen(unfinished.c_str(), "w");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fprintf(file, "%u\n", port) > 0;
    if (std::fclose(file) != 0 || !written) {
        return false;
    }
    std::remove(path.c_str());
    return std::rename(unfinished.c_str(), path.c_str()) == 0;
}

// The port that the system gave to a listening socket; the server itself knows the one it asked
// for.
unsigned ListeningPort(std::uint64_t socket) {
    sockaddr_storage address = {};
    int bytes = sizeof address;
    if (ZTK::CSocketUtil::GetSockName(socket, reinterpret_cast<sockaddr*>(&address), &bytes) != 0) {
        return 0;
    }
    if (address.ss_family == 2) {
        return ntohs(reinterpret_cast<sockaddr_in*>(&address)->sin_port);
    }
    return ntohs(reinterpret_cast<sockaddr_in6*>(&address)->sin6_port);
}

// The callbacks of ISOListener run on the listener thread, those of ConnectionOwner on the
// connections' threads; Serve runs on the main thread.
class Agent final : public ZTK::ISOListener, public example::ConnectionOwner {
  public:
    explicit Agent(const Settings& settings)
        : settings_(settings),
          endpoint_(example::Endpoint(settings.host, settings.port)),
          changed_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
          ready_(OpenReadyEvent(settings.ready_event)) {}
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;
    ~Agent() {
        if (ready_ != nullptr) {
            CloseHandle(ready_);
        }
        CloseHandle(changed_);
    }

    // Returns when the agent is to end. False after an error.
    bool Serve() {
        if (ready_ == nullptr && !settings_.ready_event.empty()) {
            return false;
        }
        StartListening();
        while (!ending_) {
            const DWORD woken =
                WaitForSingleObject(changed_, interrupted_ ? kPauseBeforeListening : INFINITE);
            const bool some_ended = RemoveFinishedConnections();
            // What was short may be there again: a connection gave its share back, or time passed.
            if (interrupted_ && !ending_ && (some_ended || woken == kTimedOut)) {
                StartListening();
            }
        }
        Stop();
        return !failed_;
    }

    // ISOListener
    bool IsStopping() override { return ending_; }
    void OnSocketCreated(std::uint64_t) override {}

    void OnListen(const wchar_t*, const wchar_t* address, unsigned short) override {
        const unsigned port = ListeningPort(server_->GetSocket());
        if (listened_) {
            return;  // peers know us by now
        }
        listened_ = true;
        endpoint_.port = static_cast<unsigned short>(port);  // for the next time
        std::printf("agent: listening on %s port %u\n", Narrow(address).c_str(), port);
        std::fflush(stdout);
        ZTKTrace(L"agent: listening on port %u\n", port);
        if (!settings_.port_file.empty() && !WritePortFile(settings_.port_file, port)) {
            std::fprintf(stderr, "agent: cannot write %s\n", settings_.port_file.c_str());
            failed_ = true;
            OnEndRequested();
            return;
        }
        if (ready_ != nullptr) {
            SetEvent(ready_);  // peers that wait for it find the port file written
        }
    }

    void OnAccept(ZTK::CServerSocket*, std::uint64_t socket) override {
        told_of_error_ = false;
        if (CountConnections() >= settings_.peers) {
            Refuse(socket);
            return;
        }
        auto connection = std::make_unique<Connection>(++accepted_, socket, this, &target_);
        if (!connection->Start()) {
            std::fprintf(stderr, "agent: no thread for peer %d\n", accepted_);
            return;  // drops the peer
        }
        lock_.Lock();
        connections_.push_back(std::move(connection));
        lock_.Unlock();
        SetEvent(changed_);  // the connection may have ended already, before it was in the list
    }

    // Without a listening socket there is nothing to serve. Later, peers are there: when the system
    // has no descriptor left for one more, say, they are served on, and listening begins again.
    void OnError(ZTK::CServerSocket*, int error) override {
        const std::string text = Narrow(ZTK::CSocketUtil::PrintSocketError(error));
        if (!listened_) {
            std::fprintf(stderr, "agent: cannot serve %s port %ld: %s (%d)\n",
                         settings_.host.c_str(), settings_.port, text.c_str(), error);
            failed_ = true;
            OnEndRequested();
            return;
        }
        if (!told_of_error_.exchange(true)) {
            std::fprintf(stderr, "agent: cannot accept a peer, trying again: %s (%d)\n",
                         text.c_str(), error);
        }
        interrupted_ = true;
        SetEvent(changed_);
    }

    // ConnectionOwner
    bool IsEnding() const override { return ending_; }
    void OnEndRequested() override {
        ending_ = true;
        SetEvent(changed_);
    }
    void OnConnectionOver() override { SetEvent(changed_); }

  private:
    static HANDLE OpenReadyEvent(const std::string& name) {
        if (name.empty()) {
            return nullptr;
        }
        HANDLE const event =
            CreateEventW(nullptr, TRUE, FALSE, ZTK::StrConvert(name.c_str(), 65001));
        if (event == nullptr) {
            std::fprintf(stderr, "agent: cannot make the event %s (%lu)\n", name.c_str(),
                         static_cast<unsigned long>(::GetLastError()));
        }
        return event;
    }

    // The listener thread ends with each error, and a server listens once: this takes a new one.
    void StartListening() {
        if (server_ != nullptr) {
            server_->Shutdown();
            server_->WaitForThreadExit(-1);
        }
        interrupted_ = false;
        server_ = std::make_unique<ZTK::CServerSocket>(this, 0, &endpoint_);
        (void)server_->Listen();  // OnError tells of what fails
    }

    std::size_t CountConnections() {
        lock_.Lock();
        const std::size_t count = connections_.size();
        lock_.Unlock();
        return count;
    }

    // Answers no request of this peer, but tells it why.
    void Refuse(std::uint64_t socket) {
        const std::string reason = "the agent serves " + std::to_string(settings_.peers) +
                                   " peers already, try again later";
        std::fprintf(stderr, "agent: refused a peer: %s\n", reason.c_str());
        std::string message;
        example::AppendMessage(&message, example::Kind::kFailure, 0, example::MakeAnswer(reason));
        ZTK::CClientSocket guest(nullptr, socket, 0);
        (void)example::SendAll(guest, message);  // fits into the buffer of a fresh connection
        // What came is read: closing a socket with unread bytes would take the message back.
        guest.SetAsyncMode(1);
        (void)guest.Read();
        guest.Shutdown();
    }

    // Whether there were any.
    bool RemoveFinishedConnections() {
        std::list<std::unique_ptr<Connection>> finished;
        lock_.Lock();
        for (auto it = connections_.begin(); it != connections_.end();) {
            const auto next = std::next(it);
            if ((*it)->IsOver()) {
                finished.splice(finished.end(), connections_, it);
            }
            it = next;
        }
        lock_.Unlock();
        served_ += static_cast<long>(finished.size());
        if (settings_.serve_for > 0 && served_ >= settings_.serve_for) {
            ending_ = true;
        }
        return !finished.empty();
    }  // destroyed without the lock, since that waits for their threads

    // First no new peers, then the old ones: all are told to stop before the first is waited for.
    void Stop() {
        ending_ = true;
        server_->Shutdown();
        server_->WaitForThreadExit(-1);
        for (const auto& connection : connections_) {
            connection->Stop();
        }
        connections_.clear();
    }

    static constexpr DWORD kPauseBeforeListening = 1000;  // milliseconds
    static constexpr auto kTimedOut = static_cast<DWORD>(WAIT_TIMEOUT);

    const Settings settings_;
    ZTK::TSOSocketInfo endpoint_;
    std::unique_ptr<ZTK::CServerSocket> server_;
    example::Target target_;
    HANDLE changed_;  // auto-reset: something happened that Serve is to look at
    HANDLE ready_;    // manual-reset, null without a name: peers may connect
    std::atomic<bool> ending_{false};
    std::atomic<bool> failed_{false};
    std::atomic<bool> listened_{false};       // once at least
    std::atomic<bool> interrupted_{false};    // the listener thread ended with an error
    std::atomic<bool> told_of_error_{false};  // since the last peer that was accepted
    int accepted_ = 0;                        // touched by the listener thread
    long served_ = 0;                         // touched by the main thread
    ZTK::CLock lock_;                         // guards connections_
    std::list<std::unique_ptr<Connection>> connections_;
};

bool Serve(const Settings& settings) {
    const example::SocketLibrary sockets;
    return Agent(settings).Serve();
}

int Run(const Settings& settings) {
    if (!settings.log.empty()) {
        if (!ZTKOpenTraceLog(ZTK::StrConvert(settings.log.c_str(), 0))) {
            std::fprintf(stderr, "agent: cannot write %s\n", settings.log.c_str());
            return 1;
        }
        ZTK::EnableLogging(true, settings.log_hex ? 0 : 1);
    }
    const bool ok = Serve(settings);
    ZTKTrace(L"agent: ended\n");
    ZTKCloseTraceLog();
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    example::CommandLine line(argc, argv, "agent", kUsage);
    Settings settings;
    settings.host = line.Text("--host", "127.0.0.1");
    settings.port = line.Number("--port", 0, 65535, 0);
    settings.port_file = line.Text("--port-file", "");
    settings.ready_event = line.Text("--ready-event", "");
    settings.peers = static_cast<std::size_t>(line.Number("--peers", 1, 10000, 64));
    settings.serve_for = line.Number("--serve-for", 1, 1000000000, line.Flag("--once") ? 1 : 0);
    settings.log = line.Text("--log", "");
    settings.log_hex = line.Flag("--log-hex");
    int exit_code = 0;
    return line.IsSettled(&exit_code) ? exit_code : Run(settings);
}
