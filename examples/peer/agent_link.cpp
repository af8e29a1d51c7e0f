// The peer's side of a connection to an agent.
#include "peer/agent_link.h"

#include <cstdio>

#include "common/command_line.h"

namespace example {

namespace {

constexpr std::uint32_t kNoRequest = 0;  // the requests of a peer are numbered from 1

}  // namespace

AgentLink::~AgentLink() {
    Close();
    socket_.WaitForThreadExit(-1);
    if (receiver_thread_ != nullptr) {
        CloseHandle(receiver_thread_);
    }
}

bool AgentLink::Connect(const std::string& host, long port) {
    ZTK::TSOSocketInfo endpoint = Endpoint(host, port);
    if (!socket_.Connect(&endpoint)) {
        std::fprintf(stderr, "peer: cannot connect to %s port %ld: %s (%lu)\n", host.c_str(), port,
                     Narrow(socket_.GetErrorDesc()).c_str(),
                     static_cast<unsigned long>(socket_.GetLastError()));
        return false;
    }
    receiver_thread_ = socket_.Receive(0);
    if (receiver_thread_ == nullptr) {
        std::fprintf(stderr, "peer: no thread\n");
    }
    return receiver_thread_ != nullptr;
}

bool AgentLink::Send(std::uint32_t sequence, std::string_view request) {
    std::string bytes;
    AppendMessage(&bytes, Kind::kRequest, sequence, request);
    return SendAll(socket_, bytes);
}

// Messages are taken out of the inbox many at a time, and given back together when the last of them
// was looked at.
Message* AgentLink::Take() {
    if (next_ == taken_) {
        if (taken_ > 0) {
            inbox_.GiveBack(messages_, taken_);
        }
        next_ = 0;
        taken_ = inbox_.Take(messages_);
    }
    if (taken_ == 0) {
        return nullptr;
    }
    Message* message = messages_[next_++];
    if (message->GetKind() == Kind::kFailure && message->GetSequence() == kNoRequest) {
        refusal_ = TextOf(*message);
        return nullptr;  // nothing follows it
    }
    return message;
}

Message* AgentLink::Wait(DWORD milliseconds) {
    const HANDLE events[] = {Arrived(), Ended()};
    DWORD woken = WAIT_OBJECT_0;
    for (;;) {
        Message* message = Take();
        if (message != nullptr || IsRefused() || woken != WAIT_OBJECT_0) {
            return message;
        }
        woken = WaitForMultipleObjects(2, events, FALSE, milliseconds);
    }
}

std::string AgentLink::TextOf(Message& answer) {
    std::string problem;
    const std::string_view body = answer.GetBody();
    try {
        return body_.Load(body, L"answer", &problem) ? body_.Text() : std::string(body);
    } catch (const _com_error&) {
        return std::string(body);
    }
}

std::string AgentLink::Problem() {
    if (IsRefused()) {
        return refusal_;
    }
    if (inbox_.Problem() != nullptr) {
        return inbox_.Problem();
    }
    if (socket_.GetSocket() != 0) {
        return "";
    }
    if (socket_.GetLastError() != 0) {
        return Narrow(socket_.GetErrorDesc()) + " (" + std::to_string(socket_.GetLastError()) + ")";
    }
    return inbox_.PendingBytes() != 0 ? "the connection was cut in mid-message"
                                      : "the agent closed the connection";
}

void AgentLink::Close() {
    stopping_ = true;
    inbox_.Close();
    socket_.Shutdown();
}

}  // namespace example
