// One peer of the agent: its socket, its inbox and the thread that answers it.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "inbox.h"
#include "target.h"
#include "xml_body.h"

namespace example {

// What a connection asks of the agent.
class ConnectionOwner {
  public:
    // Asked by both threads of a connection: whether the agent is about to end.
    [[nodiscard]] virtual bool IsEnding() const = 0;

    // A peer wants the agent to end.
    virtual void OnEndRequested() = 0;

    // A connection has answered all it could; it may be stopped and destroyed, from another thread.
    virtual void OnConnectionOver() = 0;

  protected:
    ~ConnectionOwner() = default;
};

// Two threads serve a connection. The library's receiver thread cuts what arrives into messages;
// our own answering thread takes them out of the inbox, has the target carry them out, and sends
// the answers. So a slow command does not keep bytes from being received, and no peer waits for
// another one.
class Connection final : public ZTK::ISOReceiver {
  public:
    // Takes ownership of the accepted socket. owner and target are borrowed.
    Connection(int number, std::uint64_t socket, ConnectionOwner* owner, Target* target);
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

    // ISOReceiver
    bool IsStopping() override;
    bool OnReceive(ZTK::CClientSocket* socket, unsigned char* data, int length) override;
    void OnDisconnect(ZTK::CClientSocket* socket) override;

  private:
    static DWORD WINAPI AnsweringThread(void* connection);
    void AnswerUntilDisconnected();
    void AnswerWaiting();
    void SendAnswers();
    bool Answer(Message& message);
    bool AnswerBody(Message& message, std::string* reply, bool* end_requested);
    void ReportEnd();

    const int number_;
    ConnectionOwner* const owner_;
    Target* const target_;
    ZTK::CClientSocket socket_;
    Inbox inbox_;
    HANDLE receiver_thread_ = nullptr;
    HANDLE answering_thread_ = nullptr;
    std::unique_ptr<XmlBody> body_;      // the request at hand; touched by the answering thread
    ZTK::CSendBatch answers_;            // to be sent together; touched by the answering thread
    std::uint64_t answered_ = 0;         // touched by the answering thread
    std::atomic<bool> connected_{true};  // answers can still be sent
    std::atomic<bool> over_{false};
};

}  // namespace example
