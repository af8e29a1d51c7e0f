// A debugger agent: listens, and answers the requests of any number of peers at once.
//
//     agent --port 9000 --log agent.log --launch ./program argument
#include <atomic>
#include <cstdio>
#include <memory>
#include <vector>

#include "agent/connection_list.h"
#include "common/command_line.h"
#include "common/interrupts.h"
#include "common/socket_library.h"
#include "target/target.h"

namespace {

using example::Connection;
using example::Narrow;

constexpr const char* kUsage =
    "usage: agent [--host HOST] [--port N] [--port-file F] [--ready-event N] [--peers N]\n"
    "             [--serve-for N] [--log F] [--log-hex]\n"
    "             [--simulate | --attach PID | --launch PROGRAM [ARGUMENT...]]\n"
    "       agent --can-trace\n"
    "\n"
    "Listens for peers and answers their requests (peer sends them; \"help\" lists them). They\n"
    "are about a program that the agent controls, the debuggee.\n"
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
    "  --simulate      the debuggee is a made-up one, which works everywhere (the default)\n"
    "  --attach PID    the debuggee is the process of that number, which runs on afterwards\n"
    "  --launch PROGRAM [ARGUMENT...]  the debuggee is this program, killed when the agent ends;\n"
    "                  all that follows belongs to it\n"
    "  --can-trace     only say whether this system lets the agent control processes\n"
    "\n"
    "The agent also ends by Ctrl-C and when a peer sends the request \"shutdown\".\n"
    "Exit code: 0 after a clean end, 1 on an error, 2 for a bad command line; with --can-trace 0\n"
    "if it can, 1 if not.\n";

struct Settings {
    std::string host;
    long port = 0;
    std::string port_file;
    std::string ready_event;
    std::size_t peers = 0;
    long serve_for = 0;  // 0: no end
    std::string log;
    bool log_hex = false;
    bool can_trace = false;
    bool simulate = false;
    std::uint64_t attach = 0;         // 0: to none
    std::vector<std::string> launch;  // empty: nothing
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
    Agent(const Settings& settings, const example::Interrupts& interrupts)
        : settings_(settings),
          interrupts_(interrupts),
          target_(settings.simulate ? example::MakeSimulatedTarget(&connections_)
                                    : example::MakeProcessTarget(&connections_)),
          commands_(target_.get()),
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
        TakeControl();
        StartListening();
        const HANDLE events[] = {changed_, interrupts_.Interrupted(), interrupts_.EndRequested()};
        while (!ending_) {
            const DWORD woken = WaitForMultipleObjects(
                3, events, FALSE, not_listening_ ? kPauseBeforeListening : INFINITE);
            if (woken == WAIT_OBJECT_0 + 1 || woken == WAIT_OBJECT_0 + 2) {
                break;
            }
            const bool some_ended = RemoveFinishedConnections();
            // What was short may be there again: a connection gave its share back, or time passed.
            if (not_listening_ && !ending_ && (some_ended || woken == kTimedOut)) {
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
        if (connections_.Count() >= settings_.peers) {
            Refuse(socket);
            return;
        }
        if (!connections_.Start(
                std::make_unique<Connection>(++accepted_, socket, this, &commands_))) {
            std::fprintf(stderr, "agent: no thread for peer %d\n", accepted_);
        }
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
        not_listening_ = true;
        SetEvent(changed_);
    }

    // ConnectionOwner
    bool IsEnding() const override { return ending_; }
    void OnEndRequested() override {
        ending_ = true;
        SetEvent(changed_);
    }
    void OnRoom() override { connections_.OnRoom(); }
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

    // Peers may do better when this fails: they can launch and attach, too.
    void TakeControl() {
        std::string problem;
        bool ok = true;
        if (settings_.simulate) {
            std::printf("agent: the debuggee is a simulated one\n");
        } else if (settings_.attach != 0) {
            ok = target_->Attach(settings_.attach, &problem);
        } else {
            ok = target_->Launch(settings_.launch, &problem);
        }
        if (!ok) {
            std::fprintf(stderr, "agent: %s\n", problem.c_str());
        } else if (!settings_.simulate) {
            std::printf("agent: controls process %llu\n",
                        static_cast<unsigned long long>(target_->GetState().process));
        }
        std::fflush(stdout);
    }

    // The listener thread ends with each error, and a server listens once: this takes a new one.
    void StartListening() {
        if (server_ != nullptr) {
            server_->Shutdown();
            server_->WaitForThreadExit(-1);
        }
        not_listening_ = false;
        server_ = std::make_unique<ZTK::CServerSocket>(this, 0, &endpoint_);
        (void)server_->Listen();  // OnError tells of what fails
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
        const std::size_t finished = connections_.RemoveFinished();
        served_ += static_cast<long>(finished);
        if (settings_.serve_for > 0 && served_ >= settings_.serve_for) {
            ending_ = true;
        }
        return finished > 0;
    }

    // First no new peers, then the old ones; what they ask of the target ends before the target.
    void Stop() {
        ending_ = true;
        server_->Shutdown();
        server_->WaitForThreadExit(-1);
        connections_.StopAll();
        target_.reset();
    }

    static constexpr DWORD kPauseBeforeListening = 1000;  // milliseconds
    static constexpr auto kTimedOut = static_cast<DWORD>(WAIT_TIMEOUT);

    const Settings settings_;
    const example::Interrupts& interrupts_;
    example::ConnectionList connections_;
    std::unique_ptr<example::Target> target_;  // tells connections_ its events
    example::Commands commands_;
    ZTK::TSOSocketInfo endpoint_;
    std::unique_ptr<ZTK::CServerSocket> server_;
    HANDLE changed_;  // auto-reset: something happened that Serve is to look at
    HANDLE ready_;    // manual-reset, null without a name: peers may connect
    std::atomic<bool> ending_{false};
    std::atomic<bool> failed_{false};
    std::atomic<bool> listened_{false};       // once at least
    std::atomic<bool> not_listening_{false};  // the listener thread ended with an error
    std::atomic<bool> told_of_error_{false};  // since the last peer that was accepted
    int accepted_ = 0;                        // touched by the listener thread
    long served_ = 0;                         // touched by the main thread
};

bool Serve(const Settings& settings) {
    const example::Interrupts interrupts;  // before any other thread
    const example::SocketLibrary sockets;
    return Agent(settings, interrupts).Serve();
}

int SayWhetherWeCanTrace() {
    std::string problem;
    const bool can = example::CanControlProcesses(&problem);
    std::printf("agent: %s\n", can ? "processes can be controlled" : problem.c_str());
    return can ? 0 : 1;
}

int Run(const Settings& settings) {
    if (settings.can_trace) {
        return SayWhetherWeCanTrace();
    }
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
    settings.launch = line.Rest("--launch");
    settings.host = line.Text("--host", "127.0.0.1");
    settings.port = line.Number("--port", 0, 65535, 0);
    settings.port_file = line.Text("--port-file", "");
    settings.ready_event = line.Text("--ready-event", "");
    settings.peers = static_cast<std::size_t>(line.Number("--peers", 1, 10000, 64));
    settings.serve_for = line.Number("--serve-for", 1, 1000000000, line.Flag("--once") ? 1 : 0);
    settings.log = line.Text("--log", "");
    settings.log_hex = line.Flag("--log-hex");
    settings.can_trace = line.Flag("--can-trace");
    settings.attach = static_cast<std::uint64_t>(line.Number("--attach", 1, 2147483647, 0));
    settings.simulate = line.Flag("--simulate");
    const bool real = settings.attach != 0 || !settings.launch.empty();
    if ((settings.attach != 0 && !settings.launch.empty()) || (settings.simulate && real)) {
        line.Complain("only one of --simulate, --attach and --launch can be given");
    }
    settings.simulate = !real;
    int exit_code = 0;
    return line.IsSettled(&exit_code) ? exit_code : Run(settings);
}
