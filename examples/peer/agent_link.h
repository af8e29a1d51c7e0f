// The peer's side of a connection to an agent: what is sent, what has arrived, why it ended.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/inbox.h"
#include "common/xml_body.h"

namespace example {

// Thread-safety: one thread sends and one takes messages; they may be the same.
class AgentLink final : public ZTK::ISOReceiver {
  public:
    AgentLink() : socket_(this, 0) {}
    AgentLink(const AgentLink&) = delete;
    AgentLink& operator=(const AgentLink&) = delete;
    ~AgentLink();

    // Once. False, with the reason on standard error, when there is no agent.
    bool Connect(const std::string& host, long port);

    // An agent that refuses to serve us says so and closes the connection, so an answer may be
    // there even if a request could not be sent.
    bool Send(std::uint32_t sequence, std::string_view request);
    [[nodiscard]] ZTK::CClientSocket* Socket() { return &socket_; }  // for batches

    // Auto-reset event: messages have arrived. When Ended is signalled, nothing more arrives; what
    // did arrive is still there to be taken.
    [[nodiscard]] HANDLE Arrived() const { return inbox_.Arrived(); }
    [[nodiscard]] HANDLE Ended() const { return receiver_thread_; }

    // The next message, or null. It is looked at before the next call, which gives it back.
    Message* Take();

    // The next message, waited for; null when none comes.
    Message* Wait(DWORD milliseconds);

    // What an answer says; the body itself when it is not what an agent sends.
    std::string TextOf(Message& answer);

    // Whether the agent has told that it does not serve us.
    [[nodiscard]] bool IsRefused() const { return !refusal_.empty(); }

    // Why no message comes any more; empty while the connection lives.
    std::string Problem();

    // Ends a blocked send, and the connection.
    void Close();

    // ISOReceiver, on the receiver thread
    bool IsStopping() override { return stopping_; }
    bool OnReceive(ZTK::CClientSocket*, unsigned char* data, int length) override {
        return inbox_.Feed(data, length);
    }
    void OnDisconnect(ZTK::CClientSocket*) override {}

  private:
    ZTK::CClientSocket socket_;
    Inbox inbox_;
    XmlBody body_;                          // the answer at hand
    Message* messages_[Inbox::kMostTaken];  // those from next_ to taken_ were not looked at yet
    std::size_t next_ = 0;
    std::size_t taken_ = 0;
    HANDLE receiver_thread_ = nullptr;
    std::string refusal_;  // why the agent does not serve us
    std::atomic<bool> stopping_{false};
};

}  // namespace example
