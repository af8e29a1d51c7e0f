// A connection to a gdbserver, or to another server of its protocol.
#include "gdb_target/gdb_session.h"

#include <algorithm>
#include <charconv>

#include "common/command_line.h"

namespace example {

namespace {

constexpr std::size_t kMaxDocumentBytes = std::size_t{1} << 23;

std::string Hex(std::size_t number) {
    char text[2 * sizeof number];
    const auto written = std::to_chars(text, text + sizeof text, number, 16);
    return std::string(text, written.ptr);
}

// An answer that is not what was asked for, in words. It is a server's text, and may be long.
std::string Refusal(const std::string& answer) {
    constexpr std::size_t kShown = 80;
    if (answer.empty()) {
        return "it does not know the request";
    }
    if (answer.starts_with("E.")) {
        return answer.substr(2, kShown);
    }
    return answer[0] == 'E' ? "error " + answer.substr(1, kShown) : answer.substr(0, kShown);
}

}  // namespace

GdbSession::GdbSession(DWORD timeout)
    : timeout_(timeout), socket_(this, 0), arrived_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

GdbSession::~GdbSession() {
    stopping_ = true;
    socket_.Shutdown();
    socket_.WaitForThreadExit(-1);
    if (receiver_thread_ != nullptr) {
        CloseHandle(receiver_thread_);
    }
    CloseHandle(arrived_);
}

void GdbSession::Connect(const std::string& host, long port) {
    ZTK::TSOSocketInfo info = Endpoint(host, port);
    if (!socket_.Connect(&info)) {
        throw SessionError{"cannot connect to " + host + " port " + std::to_string(port) + ": " +
                           Narrow(socket_.GetErrorDesc()) + " (" +
                           std::to_string(socket_.GetLastError()) + ")"};
    }
    receiver_thread_ = socket_.Receive(0);
    if (receiver_thread_ == nullptr) {
        throw SessionError{"no thread to receive with"};
    }
}

bool GdbSession::OnReceive(ZTK::CClientSocket*, unsigned char* data, int length) {
    const bool complete = packets_.AddMessage(data, length);
    const bool problem = packets_.Problem() != nullptr;
    if (complete || problem) {
        SetEvent(arrived_);
    }
    return !problem;
}

void GdbSession::Send(const std::string& bytes, const std::string& request) {
    for (std::size_t done = 0; done < bytes.size();) {
        const int sent = socket_.Send(bytes.data() + done, static_cast<int>(bytes.size() - done));
        if (sent < 1) {
            throw SessionError{"the connection was lost while sending " + request};
        }
        done += static_cast<std::size_t>(sent);
    }
}

GdbPacket* GdbSession::NextPacket(const std::string& request) {
    // When the receiver thread has ended, nothing more arrives.
    const HANDLE events[] = {arrived_, receiver_thread_};
    for (DWORD woken = WAIT_OBJECT_0;;) {
        if (auto* packet = static_cast<GdbPacket*>(packets_.Pop())) {
            if (!packet->IsNotification()) {
                return packet;
            }
            packets_.PushPool(packet);
            continue;
        }
        if (packets_.Problem() != nullptr) {
            throw SessionError{"no answer to " + request + ": " + packets_.Problem()};
        }
        if (woken != WAIT_OBJECT_0) {
            throw SessionError{"the connection was closed before " + request + " was answered"};
        }
        woken = WaitForMultipleObjects(2, events, FALSE, timeout_);
        if (woken == static_cast<DWORD>(WAIT_TIMEOUT)) {
            throw SessionError{"no answer to " + request + " in time; is this a gdbserver?"};
        }
    }
}

std::string GdbSession::Ask(const std::string& request) {
    const std::string name = request.substr(0, request.find(':'));
    // The acknowledgement of the last answer goes along: two small sends in a row would wait for
    // each other.
    Send(acknowledgement_ + MakePacket(request), name);
    GdbPacket* packet = NextPacket(name);
    std::string body;
    const bool intact = packet->Decode(&body);
    packets_.PushPool(packet);
    if (!intact) {
        throw SessionError{"the answer to " + name + " is damaged"};
    }
    acknowledgement_ = "+";
    return body;
}

void GdbSession::Agree() {
    // xmlRegisters: some servers describe registers in XML only to a client that says it reads
    // them.
    const std::string offers = Ask("qSupported:xmlRegisters=i386");
    std::string_view value;
    has_documents_ = FindItem(offers, "qXfer:features:read", &value) && value == "+";
    AgreeOnSize(offers);
    const std::string stop = Ask("?");
    if (!stop.empty() && (stop[0] == 'W' || stop[0] == 'X')) {
        throw SessionError{"the server's target has ended: " + Refusal(stop)};
    }
    if (stop.empty() || (stop[0] != 'T' && stop[0] != 'S')) {
        throw SessionError{"the server has no stopped target: " + Refusal(stop)};
    }
    SelectThread(stop);
}

void GdbSession::AgreeOnSize(std::string_view offers) {
    std::size_t bytes = 0;
    if (std::string_view value; FindItem(offers, "PacketSize=", &value)) {
        const auto parsed = std::from_chars(value.data(), value.data() + value.size(), bytes, 16);
        if (parsed.ec != std::errc() || parsed.ptr != value.data() + value.size() || bytes < 64) {
            throw SessionError{"the answer to qSupported is malformed: PacketSize=" +
                               Refusal(std::string(value))};
        }
    }
    packet_bytes_ = std::clamp<std::size_t>(bytes, 400, kMaxPacketBytes / 2);
}

// Thread 0 is any. Some servers want to hear the name of the one that stopped, which is behind the
// reason and the signal; others select none, and describe the target all the same.
void GdbSession::SelectThread(std::string_view stop) {
    std::string answer = Ask("Hg0");
    std::string_view thread;
    if (answer != "OK" && stop.size() > 3 && FindItem(stop.substr(3), "thread:", &thread)) {
        answer = Ask("Hg" + std::string(thread));
    }
    if (answer != "OK") {
        notes_.push_back("the server selects no thread: " + Refusal(answer));
    }
}

bool GdbSession::ReadDocument(const std::string& annex, std::string* document) {
    document->clear();
    for (bool more = true; more;) {
        const std::string answer = Ask("qXfer:features:read:" + annex + ":" +
                                       Hex(document->size()) + "," + Hex(packet_bytes_ - 8));
        if (answer.empty() || answer[0] == 'E') {
            *document = "the server does not give " + annex + ": " + Refusal(answer);
            return false;
        }
        const std::size_t before = document->size();
        if ((answer[0] != 'l' && answer[0] != 'm') ||
            !Unescape(std::string_view(answer).substr(1), document)) {
            throw SessionError{"the answer to qXfer for " + annex +
                               " is malformed: " + Refusal(answer)};
        }
        more = answer[0] == 'm';
        if (more && document->size() == before) {
            throw SessionError{annex + " goes on without end"};
        }
        if (document->size() > kMaxDocumentBytes) {
            throw SessionError{annex + " is too large: more than " +
                               std::to_string(kMaxDocumentBytes) + " bytes"};
        }
    }
    return true;
}

bool GdbSession::ReadRegister(int number, std::string* info) {
    *info = Ask("qRegisterInfo" + Hex(static_cast<std::size_t>(number)));
    return !info->empty() && (*info)[0] != 'E';
}

void GdbSession::Detach() {
    if (const std::string answer = Ask("D"); answer != "OK") {
        throw SessionError{"the server did not let its target go: " + Refusal(answer)};
    }
    Send(acknowledgement_, "D");
}

}  // namespace example
