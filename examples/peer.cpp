// The agent's peer, such as a debugger: sends requests and prints the answers.
//
//     peer --port 9000 --requests requests.txt
//     echo "evaluate 6*7" | peer --port 9000
//     peer --port 9000 --pipeline 1000000
#include <atomic>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "command_line.h"
#include "inbox.h"
#include "socket_library.h"
#include "xml_body.h"

namespace {

using example::Inbox;
using example::Kind;
using example::Message;

constexpr const char* kUsage =
    "usage: peer --port N | --port-file F [--host HOST] [--wait-event N]\n"
    "            [--requests FILE | --pipeline N] [--timeout S]\n"
    "\n"
    "Sends requests to an agent and prints its answers.\n"
    "\n"
    "  --host HOST      name or address of the agent (127.0.0.1)\n"
    "  --port N         the agent's port\n"
    "  --port-file F    the file in which the agent has written its port\n"
    "  --wait-event N   connect once the agent has set the event of name N\n"
    "  --requests FILE  one request a line, sent one after the other; - is standard input (-)\n"
    "  --pipeline N     send N requests without waiting for answers, and check that all come back\n"
    "  --timeout S      give up when no answer, or the event, comes for S seconds (30)\n"
    "\n"
    "Exit code: 0 if every request was answered, 1 if not, 2 for a bad command line.\n";

// Requests of the pipeline are numbered; each is to come back as it is.
std::string PipelineText(long number) {
    return "message " + std::to_string(number) + " of the pipeline";
}

class Peer final : public ZTK::ISOReceiver {
  public:
    explicit Peer(DWORD timeout) : timeout_(timeout), socket_(this, 0) {}
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    ~Peer() {
        stopping_ = true;
        inbox_.Close();
        socket_.Shutdown();
        socket_.WaitForThreadExit(-1);
        if (receiver_thread_ != nullptr) {
            CloseHandle(receiver_thread_);
        }
    }

    bool Connect(const std::string& host, long port) {
        ZTK::TSOSocketInfo endpoint = example::Endpoint(host, port);
        if (!socket_.Connect(&endpoint)) {
            std::fprintf(stderr, "peer: cannot connect to %s port %ld: %s (%lu)\n", host.c_str(),
                         port, example::Narrow(socket_.GetErrorDesc()).c_str(),
                         static_cast<unsigned long>(socket_.GetLastError()));
            return false;
        }
        receiver_thread_ = socket_.Receive(0);
        if (receiver_thread_ == nullptr) {
            std::fprintf(stderr, "peer: no thread\n");
        }
        return receiver_thread_ != nullptr;
    }

    // Sends the requests one after the other, each when the last one has been answered.
    bool Converse(std::istream& requests) {
        std::string line;
        std::uint32_t sequence = 0;
        while (std::getline(requests, line)) {
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            if (line.empty() || line.front() == '#') {
                continue;
            }
            const std::string request = example::MakeRequest(line);
            if (request.size() > example::kMaxBodyBytes) {
                std::fprintf(stderr, "peer: a request is too long\n");
                return false;
            }
            std::printf("> %s\n", line.c_str());
            std::string bytes;
            example::AppendMessage(&bytes, Kind::kRequest, ++sequence, request);
            // An agent that refuses to serve us says so and closes the connection, so an answer may
            // be there even if the request could not be sent.
            (void)example::SendAll(socket_, bytes);
            Message* answer = NextAnswer();
            const bool matches = answer != nullptr && answer->GetSequence() == sequence;
            if (matches) {
                PrintAnswer(*answer);
            }
            if (answer != nullptr) {
                GiveBackWhenLast();
            }
            if (!matches) {
                ReportFailure("request " + std::to_string(sequence));
                return false;
            }
        }
        if (requests.bad()) {  // a directory can be opened, but not read
            std::fprintf(stderr, "peer: the requests cannot be read\n");
            return false;
        }
        std::printf("peer: %u requests, all answered\n", static_cast<unsigned>(sequence));
        return true;
    }

    // Sends count requests from a thread of its own, and checks the answers here meanwhile.
    bool Pipeline(long count) {
        pipeline_ = count;
        HANDLE sender = CreateThread(nullptr, 0, SenderThread, this, 0, nullptr);
        if (sender == nullptr) {
            std::fprintf(stderr, "peer: no thread\n");
            return false;
        }
        long answered = 0;
        while (answered < count && CheckPipelineAnswer(answered + 1)) {
            ++answered;
            if (count >= 10 && answered % (count / 10) == 0) {
                std::printf("peer: %ld of %ld came back\n", answered, count);
                std::fflush(stdout);
            }
        }
        if (answered < count) {
            ReportFailure("message " + std::to_string(answered + 1));
            inbox_.Close();
            socket_.Shutdown();  // ends a blocked send
        }
        WaitForSingleObject(sender, INFINITE);
        CloseHandle(sender);
        if (answered == count) {
            std::printf("peer: all %ld messages came back\n", count);
        }
        return answered == count;
    }

    // ISOReceiver, on the receiver thread
    bool IsStopping() override { return stopping_; }
    bool OnReceive(ZTK::CClientSocket*, unsigned char* data, int length) override {
        return inbox_.Feed(data, length);
    }
    void OnDisconnect(ZTK::CClientSocket*) override {}

  private:
    // Waits for the next answer: null when there will be none.
    Message* NextAnswer() {
        // When the receiver thread has ended, nothing more arrives.
        const HANDLE events[] = {inbox_.Arrived(), receiver_thread_};
        DWORD woken = WAIT_OBJECT_0;
        for (;;) {
            Message* answer = TakeAnswer();
            if (answer != nullptr && answer->GetKind() == Kind::kFailure &&
                answer->GetSequence() == kNoRequest) {
                refusal_ = TextOf(*answer);
                GiveBackWhenLast();
                return nullptr;
            }
            if (answer != nullptr || woken != WAIT_OBJECT_0) {
                return answer;
            }
            woken = WaitForMultipleObjects(2, events, FALSE, timeout_);
            timed_out_ = woken == static_cast<DWORD>(WAIT_TIMEOUT);
        }
    }

    // Answers are taken out of the inbox many at a time, and given back together when the last of
    // them was looked at.
    Message* TakeAnswer() {
        if (next_ == taken_) {
            next_ = 0;
            taken_ = inbox_.Take(answers_);
        }
        return next_ < taken_ ? answers_[next_++] : nullptr;
    }
    void GiveBackWhenLast() {
        if (next_ == taken_) {
            inbox_.GiveBack(answers_, taken_);
        }
    }

    // An answer that is written as our agents write it is known without reading its XML.
    bool CheckPipelineAnswer(long number) {
        Message* answer = NextAnswer();
        if (answer == nullptr) {
            return false;
        }
        const std::string expected = PipelineText(number);
        const bool matches =
            answer->GetKind() == Kind::kAnswer &&
            answer->GetSequence() == static_cast<std::uint32_t>(number) &&
            (answer->GetBody() == example::MakeAnswer(expected) || TextOf(*answer) == expected);
        GiveBackWhenLast();
        return matches;
    }

    static DWORD WINAPI SenderThread(void* peer) {
        auto* self = static_cast<Peer*>(peer);
        ZTK::CSendBatch batch(&self->socket_);
        for (long number = 1; number <= self->pipeline_; ++number) {
            const bool added =
                example::AddMessage(&batch, Kind::kRequest, static_cast<std::uint32_t>(number),
                                    example::MakeRequest("echo " + PipelineText(number)));
            const bool is_enough = batch.GetSize() >= kSendAtOnce || number == self->pipeline_;
            if (!added || (is_enough && !batch.Send())) {
                break;  // the checking side notices that no more answers come
            }
        }
        return 0;
    }

    // What an answer's body says; the body itself when it is not what an agent sends.
    std::string TextOf(Message& answer) {
        std::string problem;
        const std::string_view body = answer.GetBody();
        try {
            return body_.Load(body, L"answer", &problem) ? body_.Text() : std::string(body);
        } catch (const _com_error&) {
            return std::string(body);
        }
    }

    void PrintAnswer(Message& answer) {
        std::printf("%s%s\n", answer.GetKind() == Kind::kFailure ? "error: " : "",
                    TextOf(answer).c_str());
        std::fflush(stdout);
    }

    void ReportFailure(const std::string& what) {
        std::string reason = "the answer does not match";
        if (!refusal_.empty()) {
            reason = refusal_;
        } else if (inbox_.Problem() != nullptr) {
            reason = inbox_.Problem();
        } else if (timed_out_) {
            reason = "no answer in time";
        } else if (socket_.GetSocket() == 0 && socket_.GetLastError() != 0) {
            reason = example::Narrow(socket_.GetErrorDesc()) + " (" +
                     std::to_string(socket_.GetLastError()) + ")";
        } else if (socket_.GetSocket() == 0) {
            reason = inbox_.PendingBytes() != 0 ? "the connection was cut in mid-message"
                                                : "the agent closed the connection";
        }
        std::fprintf(stderr, "peer: %s was not answered: %s\n", what.c_str(), reason.c_str());
    }

    static constexpr std::uint32_t kNoRequest = 0;  // our own are numbered from 1

    static constexpr std::size_t kSendAtOnce = 64 * 1024;  // bytes of requests

    const DWORD timeout_;  // milliseconds
    ZTK::CClientSocket socket_;
    Inbox inbox_;
    example::XmlBody body_;                // the answer at hand
    Message* answers_[Inbox::kMostTaken];  // those from next_ to taken_ were not looked at yet
    std::size_t next_ = 0;
    std::size_t taken_ = 0;
    HANDLE receiver_thread_ = nullptr;
    long pipeline_ = 0;
    bool timed_out_ = false;
    std::string refusal_;  // why the agent does not serve us
    std::atomic<bool> stopping_{false};
};

struct Settings {
    std::string host;
    long port = 0;
    std::string port_file;
    std::string wait_event;
    std::string requests;
    long pipeline = 0;
    long timeout = 0;
};

// Waits until the agent is ready. Whoever of the two comes first makes the event.
bool WaitForAgent(const std::string& event_name, DWORD timeout) {
    HANDLE const event =
        CreateEventW(nullptr, TRUE, FALSE, ZTK::StrConvert(event_name.c_str(), 65001));
    if (event == nullptr) {
        std::fprintf(stderr, "peer: cannot open the event %s (%lu)\n", event_name.c_str(),
                     static_cast<unsigned long>(::GetLastError()));
        return false;
    }
    const bool ready = WaitForSingleObject(event, timeout) == WAIT_OBJECT_0;
    CloseHandle(event);
    if (!ready) {
        std::fprintf(stderr, "peer: nobody has set the event %s\n", event_name.c_str());
    }
    return ready;
}

bool Talk(const Settings& settings) {
    std::ifstream file;
    if (settings.pipeline == 0 && settings.requests != "-") {
        file.open(settings.requests);
        if (!file) {
            std::fprintf(stderr, "peer: cannot read %s\n", settings.requests.c_str());
            return false;
        }
    }
    const auto timeout = static_cast<DWORD>(settings.timeout * 1000);
    if (!settings.wait_event.empty() && !WaitForAgent(settings.wait_event, timeout)) {
        return false;
    }
    long port = settings.port;
    if (port == 0 && !(std::ifstream(settings.port_file) >> port)) {
        std::fprintf(stderr, "peer: there is no port in %s\n", settings.port_file.c_str());
        return false;
    }
    Peer peer(timeout);
    if (!peer.Connect(settings.host, port)) {
        return false;
    }
    if (settings.pipeline > 0) {
        return peer.Pipeline(settings.pipeline);
    }
    return peer.Converse(settings.requests == "-" ? std::cin : file);
}

}  // namespace

int main(int argc, char** argv) {
    example::CommandLine line(argc, argv, "peer", kUsage);
    Settings settings;
    settings.host = line.Text("--host", "127.0.0.1");
    settings.port_file = line.Text("--port-file", "");
    settings.port = settings.port_file.empty() ? line.RequiredNumber("--port", 1, 65535) : 0;
    settings.wait_event = line.Text("--wait-event", "");
    settings.requests = line.Text("--requests", "-");
    settings.pipeline = line.Number("--pipeline", 1, 100000000, 0);
    settings.timeout = line.Number("--timeout", 1, 86400, 30);
    int exit_code = 0;
    if (line.IsSettled(&exit_code)) {
        return exit_code;
    }
    const example::SocketLibrary sockets;
    return Talk(settings) ? 0 : 1;
}
