// One peer of the agent.
#include "agent/connection.h"

#include <algorithm>
#include <cstdio>

#include "common/command_line.h"

namespace example {

namespace {

constexpr std::size_t kSendAtOnce =
    64 * 1024;  // bytes of answers and events collected before they are sent

}  // namespace

Connection::Connection(int number, std::uint64_t socket, ConnectionOwner* owner, Commands* commands)
    : number_(number),
      owner_(owner),
      commands_(commands),
      socket_(this, socket, 0),
      answers_(&socket_) {}

Connection::~Connection() {
    Stop();
    if (answering_thread_ != nullptr) {
        WaitForSingleObject(answering_thread_, INFINITE);
        CloseHandle(answering_thread_);
    }
    // By now both threads have left the registry, so their handles are ours to close.
    socket_.WaitForThreadExit(-1);
    if (receiver_thread_ != nullptr) {
        CloseHandle(receiver_thread_);
    }
}

// Shutdown ends a blocked receive and a blocked send; Close ends the waits of OnReceive.
void Connection::Stop() {
    connected_ = false;
    inbox_.Close();
    socket_.Shutdown();
}

bool Connection::Start() {
    std::printf("agent: peer %d connected from %s\n", number_,
                Narrow(socket_.GetIPAddress()).c_str());
    std::fflush(stdout);
    receiver_thread_ = socket_.Receive(0);
    if (receiver_thread_ == nullptr) {
        return false;
    }
    DWORD id = 0;
    answering_thread_ = CreateThread(nullptr, 0, AnsweringThread, this, CREATE_SUSPENDED, &id);
    if (answering_thread_ == nullptr) {
        return false;
    }
    ZTK::RegisterThread(id, answering_thread_);
    ResumeThread(answering_thread_);
    return true;
}

void Connection::Post(const Outbox::Bytes& event) {
    if (connected_ && !outbox_.Add(event)) {
        Drop();
    }
}

void Connection::Drop() {
    dropped_ = true;
    Stop();
}

bool Connection::IsStopping() {
    return owner_->IsEnding();
}

bool Connection::OnReceive(ZTK::CClientSocket*, unsigned char* data, int length) {
    if (inbox_.Feed(data, length)) {
        return true;
    }
    // The stream cannot be followed any further, but what came before is still answered.
    inbox_.WaitUntilEmpty();
    return false;
}

void Connection::OnDisconnect(ZTK::CClientSocket*) {
    // The peer may have closed its sending side only. The socket is shut down when we return.
    inbox_.WaitUntilEmpty();
}

DWORD WINAPI Connection::AnsweringThread(void* connection) {
    auto* self = static_cast<Connection*>(connection);
    self->AnswerUntilDisconnected();
    ConnectionOwner* owner = self->owner_;
    ZTK::DeRegisterThread(GetCurrentThreadId());
    self->over_ = true;
    owner->OnConnectionOver();
    return 0;
}

void Connection::AnswerUntilDisconnected() {
    // The receiver thread may end without a callback (a reset connection), so its handle is waited
    // for.
    const HANDLE events[] = {inbox_.Arrived(), outbox_.Added(), receiver_thread_};
    while (WaitForMultipleObjects(3, events, FALSE, INFINITE) < WAIT_OBJECT_0 + 2) {
        AnswerWaiting();
        AddEvents();
        SendAnswers();
    }
    AnswerWaiting();
    body_.reset();  // on the thread that made it
    ReportEnd();
}

// Answers all that has arrived. Many answers go out with one send; the requests are given back only
// then, because once all are, the receiver thread is free to shut the socket down. What arrived
// from a peer that cannot be answered any more is not looked at: nobody is to wait for that.
void Connection::AnswerWaiting() {
    Message* requests[Inbox::kMostTaken];
    bool end_requested = false;
    while (const std::size_t count = inbox_.Take(requests)) {
        for (std::size_t i = 0; i < count; ++i) {
            if (connected_ && !end_requested) {
                end_requested = Answer(*requests[i]);
            }
            if (answers_.GetSize() >= kSendAtOnce) {
                SendAnswers();
            }
        }
        SendAnswers();
        inbox_.GiveBack(requests, count);
    }
    if (end_requested) {
        owner_->OnEndRequested();
    }
}

// Adds the events that wait to what is sent: as many as there are now, because a debuggee that
// writes without end must not keep an answer from being sent.
void Connection::AddEvents() {
    std::size_t left = outbox_.GetSize();
    while (left > 0 && connected_) {
        const std::size_t moved = outbox_.MoveTo(&answers_, kSendAtOnce);
        if (moved == 0) {
            Stop();  // no memory: what the peer knows of the debuggee would be wrong
        }
        left -= std::min(left, moved);
        if (answers_.GetSize() >= kSendAtOnce) {
            SendAnswers();
        }
        owner_->OnRoom();
    }
}

void Connection::SendAnswers() {
    if (answers_.GetSize() == 0) {
        return;
    }
    if (connected_ && !answers_.Send()) {
        Stop();
    }
    answers_.Clear();
}

// Adds the answer to a request to those that are sent. Returns whether it asked the agent to end.
bool Connection::Answer(Message& message) {
    std::string reply;
    bool end_requested = false;
    bool ok = false;
    try {
        ok = AnswerBody(message, &reply, &end_requested);
    } catch (const _com_error& error) {
        reply =
            std::string("the XML parser failed: ") + static_cast<const char*>(error.ErrorMessage());
    }
    AddEvents();
    if (!AddMessage(&answers_, ok ? Kind::kAnswer : Kind::kFailure, message.GetSequence(),
                    MakeAnswer(reply))) {
        Stop();  // no memory: the peer is not to wait for an answer that does not come
    }
    ++answered_;
    return end_requested;
}

// Returns whether the request was carried out; *reply is what it gave, or why it could not be done.
bool Connection::AnswerBody(Message& message, std::string* reply, bool* end_requested) {
    if (message.GetKind() != Kind::kRequest) {
        *reply = "only requests are answered";
        return false;
    }
    // Made on the thread that uses it, once: each document that is made initialises COM again.
    if (body_ == nullptr) {
        body_ = std::make_unique<XmlBody>();
    }
    if (!body_->Load(message.GetBody(), L"request", reply)) {
        return false;
    }
    const std::string command = body_->Command();
    if (command == "shutdown") {
        *end_requested = true;
        *reply = "the agent ends";
        return true;
    }
    return commands_->Execute(command, *body_, reply);
}

void Connection::ReportEnd() {
    std::printf("agent: peer %d is gone after %llu requests\n", number_,
                static_cast<unsigned long long>(answered_));
    std::fflush(stdout);
    if (owner_->IsEnding()) {
        return;
    }
    if (dropped_) {
        std::fprintf(stderr, "agent: peer %d dropped: it does not take its events\n", number_);
    } else if (inbox_.Problem() != nullptr) {
        std::fprintf(stderr, "agent: peer %d dropped: %s\n", number_, inbox_.Problem());
    } else if (socket_.GetLastError() != 0) {
        std::fprintf(stderr, "agent: peer %d: %s (%lu)\n", number_,
                     Narrow(socket_.GetErrorDesc()).c_str(),
                     static_cast<unsigned long>(socket_.GetLastError()));
    }
    if (!dropped_ && inbox_.Problem() == nullptr && inbox_.PendingBytes() != 0) {
        std::fprintf(stderr, "agent: peer %d: cut off in mid-message, %llu bytes of it had come\n",
                     number_, static_cast<unsigned long long>(inbox_.PendingBytes()));
    }
}

}  // namespace example
