// One peer of the agent: its socket, its inbox, its outbox and the thread that answers it.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "agent/commands.h"
#include "agent/outbox.h"
#include "common/inbox.h"
#include "common/xml_body.h"

namespace example {

// What a connection asks of the agent.
class ConnectionOwner {
  public:
    // Asked by both threads of a connection: whether the agent is about to end.
    [[nodiscard]] virtual bool IsEnding() const = 0;

    // A peer wants the agent to end.
    virtual void OnEndRequested() = 0;

    // A connection has sent events that waited.
    virtual void OnRoom() = 0;

    // A connection has answered all it could; it may be stopped and destroyed, from another thread.
    virtual void OnConnectionOver() = 0;

  protected:
    ~ConnectionOwner() = default;
};

// Two threads serve a connection. The library's receiver thread cuts what arrives into messages;
// our own answering thread takes them out of the inbox, has them carried out, and sends the
// answers. So a slow command does not keep bytes from being received, and no peer waits for another
// one. Events come from any thread; the answering thread sends them, too, so that messages never
// mix, and an event that a command brought about goes out before its answer.
class Connection final : public ZTK::ISOReceiver {
  public:
    // Takes ownership of the accepted socket. owner and commands are borrowed.
    Connection(int number, std::uint64_t socket, ConnectionOwner* owner, Commands* commands);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Stops the connection and waits for its threads. REQUIRES: not on one of them.
    ~Connection();

    // Lets both threads end: nothing more is received, and what has arrived but was not answered is
    // dropped. Returns at once.
    void Stop();

    // False when the threads could not be started.
    bool Start();

    [[nodiscard]] bool IsOver() const { return over_; }

    // Has an event sent, by and by. A peer whose outbox is full is dropped. Any thread.
    void Post(const Outbox::Bytes& event);

    // Stops the connection because the peer does not take its events. Any thread.
    void Drop();

    // See Outbox.
    [[nodiscard]] bool IsBehind() const { return connected_ && outbox_.IsBehind(); }
    [[nodiscard]] std::chrono::milliseconds IdleTime() { return outbox_.IdleTime(); }

    // ISOReceiver
    bool IsStopping() override;
    bool OnReceive(ZTK::CClientSocket* socket, unsigned char* data, int length) override;
    void OnDisconnect(ZTK::CClientSocket* socket) override;

  private:
    static DWORD WINAPI AnsweringThread(void* connection);
    void AnswerUntilDisconnected();
    void AnswerWaiting();
    void AddEvents();
    void SendAnswers();
    bool Answer(Message& message);
    bool AnswerBody(Message& message, std::string* reply, bool* end_requested);
    void ReportEnd();

    const int number_;
    ConnectionOwner* const owner_;
    Commands* const commands_;
    ZTK::CClientSocket socket_;
    Inbox inbox_;
    Outbox outbox_;
    HANDLE receiver_thread_ = nullptr;
    HANDLE answering_thread_ = nullptr;
    std::unique_ptr<XmlBody> body_;      // the request at hand; touched by the answering thread
    ZTK::CSendBatch answers_;            // to be sent together, and events; touched by the same
    std::uint64_t answered_ = 0;         // touched by the answering thread
    std::atomic<bool> connected_{true};  // answers can still be sent
    std::atomic<bool> dropped_{false};   // for not taking events
    std::atomic<bool> over_{false};
};

}  // namespace example
