// Where received messages wait: between the thread that receives chunks and the one that deals with
// messages. Used by both examples.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "common/protocol.h"

namespace example {

// One connection's receiver. The receiver thread calls Feed; the consumer waits for Arrived(), then
// calls Take and GiveBack until nothing is left.
//
// A peer cannot make it hold more than a few megabytes: some messages and bytes that wait, one
// message that is still arriving, and small messages that are kept for reuse.
class Inbox : public ZTK::CSocketMsgReceiver {
  public:
    Inbox();
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;
    ~Inbox() override;  // REQUIRES: both threads have ended

    // --- For the receiver thread.

    // Takes one chunk. Waits while the consumer is far behind, so that a peer which sends faster
    // than it is answered is held up by TCP instead of filling our memory. False when the stream is
    // damaged: see Problem.
    bool Feed(unsigned char* data, int length);

    // Waits until the consumer has given back all messages, or Close was called.
    void WaitUntilEmpty();

    // --- For the consumer.

    // Auto-reset event: signalled when messages have arrived. Owned by the inbox.
    [[nodiscard]] HANDLE Arrived() const { return arrived_; }

    // The next message, or null. It belongs to the inbox and is given back after use.
    Message* Take();
    void GiveBack(Message* message);

    // The same for up to kMostTaken of the next messages at once, which takes no longer than for
    // one. Returns how many there were.
    static constexpr std::size_t kMostTaken = 64;
    std::size_t Take(Message* (&messages)[kMostTaken]);
    void GiveBack(Message* const* messages, std::size_t count);

    // --- For any thread.

    // Ends the waits of the receiver thread, now and later.
    void Close();

    // What was wrong with the stream; null when nothing was. Static text.
    [[nodiscard]] const char* Problem() const { return problem_; }

    // How many bytes of an incomplete message are waiting for the rest.
    [[nodiscard]] std::uint64_t PendingBytes() const { return received_bytes_ - message_bytes_; }

  protected:
    ZTK::CSocketMsg* CreateMessage() override;
    void AssertValidMsg(ZTK::CSocketMsg* message) override;

  private:
    void WaitWhileMoreThan(std::uint64_t messages, std::uint64_t bytes);
    std::size_t TakeIntact(Message** messages, std::size_t most);
    void Destroy(Message* message);

    HANDLE arrived_;
    HANDLE given_back_;
    std::vector<std::unique_ptr<Message>>
        made_;  // the library destroys no message; guarded by LockQueue
    std::atomic<std::uint64_t> complete_{0};  // messages received so far
    std::atomic<std::uint64_t> done_{0};      // messages given back so far
    std::atomic<std::uint64_t> done_bytes_{0};
    std::atomic<std::uint64_t> received_bytes_{0};
    std::atomic<std::uint64_t> message_bytes_{0};
    std::atomic<const char*> problem_{nullptr};
    std::atomic<bool> closed_{false};
    bool damaged_ = false;  // touched by the consumer
};

}  // namespace example
