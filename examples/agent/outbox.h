// Events that wait to be sent to one peer.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>

#include <ztk/ztk.h>

namespace example {

// Any thread adds; one thread, the only one that sends to the peer, takes. A peer that does not
// read cannot make it hold more than a megabyte.
//
// Thread-safety: all functions may be called from any thread.
class Outbox {
  public:
    // A whole message. Every peer gets the same one, so they share its bytes.
    using Bytes = std::shared_ptr<const std::string>;

    Outbox();
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;
    ~Outbox();

    // False when it does not fit.
    bool Add(const Bytes& message);

    // Auto-reset event: signalled when messages were added. Owned by the outbox.
    [[nodiscard]] HANDLE Added() const { return added_; }

    // Moves what waits into the batch, until that has `most` bytes or more. Returns how many bytes
    // were moved; 0, with a message lost, when memory is short. REQUIRES: something waits, and the
    // batch has less than `most`.
    [[nodiscard]] std::size_t MoveTo(ZTK::CSendBatch* batch, std::size_t most);

    // How many bytes wait. Takes no lock: it is asked for with every answer.
    [[nodiscard]] std::size_t GetSize() const { return bytes_; }

    // Whether so much waits that whoever makes more should wait.
    [[nodiscard]] bool IsBehind() const;

    // How long something has waited without that anything was taken; 0 when nothing waits.
    [[nodiscard]] std::chrono::milliseconds IdleTime();

  private:
    using Clock = std::chrono::steady_clock;

    HANDLE added_;
    ZTK::CLock lock_;  // guards the writes of bytes_ and all below
    std::atomic<std::size_t> bytes_{0};
    std::deque<Bytes> messages_;
    Clock::time_point last_taken_;  // or when the first of those that wait was added
};

}  // namespace example
