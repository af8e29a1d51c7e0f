// Where received messages wait.
#include "common/inbox.h"

#include <algorithm>
#include <utility>

namespace example {

namespace {

constexpr std::uint64_t kMostWaiting = 1024;  // messages
constexpr std::uint64_t kMostWaitingBytes = 1 << 20;

// The packet of a message that is kept for reuse. A larger one is destroyed instead: kept, each
// would hold on to the most that a peer ever sent in one message.
constexpr int kMostKeptBytes = 1024;

}  // namespace

Inbox::Inbox()
    : arrived_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      given_back_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    // Our peers send the next message without waiting for the answer to the last.
    SetKeepRemainder(true);
}

Inbox::~Inbox() {
    CloseHandle(arrived_);
    CloseHandle(given_back_);
}

bool Inbox::Feed(unsigned char* data, int length) {
    received_bytes_ += static_cast<std::uint64_t>(length);
    if (AddMessage(data, length)) {
        SetEvent(arrived_);
    }
    if (problem_ != nullptr) {
        return false;
    }
    WaitWhileMoreThan(kMostWaiting, kMostWaitingBytes);
    return true;
}

void Inbox::WaitUntilEmpty() {
    WaitWhileMoreThan(0, 0);
}

void Inbox::WaitWhileMoreThan(std::uint64_t messages, std::uint64_t bytes) {
    while (!closed_ && (complete_ - done_ > messages || message_bytes_ - done_bytes_ > bytes)) {
        WaitForSingleObject(given_back_, INFINITE);
    }
}

// Nothing behind a damaged message is handed out: it cannot be trusted.
std::size_t Inbox::TakeIntact(Message** messages, std::size_t most) {
    ZTK::CSocketMsg* popped[kMostTaken];
    std::size_t intact = 0;
    while (intact == 0) {
        const std::size_t count = Pop(popped, most);
        if (count == 0) {
            break;
        }
        for (std::size_t i = 0; i < count; ++i) {
            auto* message = static_cast<Message*>(popped[i]);
            damaged_ = damaged_ || !message->IsIntact();
            if (damaged_) {
                GiveBack(message);
            } else {
                messages[intact++] = message;
            }
        }
    }
    return intact;
}

Message* Inbox::Take() {
    Message* message = nullptr;
    (void)TakeIntact(&message, 1);  // none leaves null
    return message;
}

std::size_t Inbox::Take(Message* (&messages)[kMostTaken]) {
    return TakeIntact(messages, kMostTaken);
}

void Inbox::GiveBack(Message* message) {
    GiveBack(&message, 1);
}

// REQUIRES: count is at most kMostTaken.
void Inbox::GiveBack(Message* const* messages, std::size_t count) {
    ZTK::CSocketMsg* kept[kMostTaken];
    std::size_t kept_count = 0;
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const int size = messages[i]->GetPacketSize();
        bytes += static_cast<std::uint64_t>(size);
        if (size <= kMostKeptBytes) {
            kept[kept_count++] = messages[i];
        } else {
            Destroy(messages[i]);
        }
    }
    (void)PushPool(kept, kept_count);  // short of memory they are not used again, but still ours
    const std::uint64_t bytes_left = message_bytes_ - (done_bytes_ += bytes);
    const std::uint64_t left = complete_ - (done_ += count);
    // The receiver thread adds nothing while it waits, so what it waits for is seen to come true.
    const bool fit_before = left + count <= kMostWaiting && bytes_left + bytes <= kMostWaitingBytes;
    const bool fit_now = left <= kMostWaiting && bytes_left <= kMostWaitingBytes;
    if (left == 0 || (fit_now && !fit_before)) {
        SetEvent(given_back_);
    }
}

void Inbox::Destroy(Message* message) {
    LockQueue();
    const auto found = std::find_if(made_.begin(), made_.end(),
                                    [message](const auto& made) { return made.get() == message; });
    std::swap(*found, made_.back());
    made_.pop_back();
    UnlockQueue();
}

void Inbox::Close() {
    closed_ = true;
    SetEvent(given_back_);
}

ZTK::CSocketMsg* Inbox::CreateMessage() {
    made_.push_back(std::make_unique<Message>(&problem_));
    return made_.back().get();
}

// Called before the message is queued, so that the consumer cannot be ahead of the counts.
void Inbox::AssertValidMsg(ZTK::CSocketMsg* message) {
    static_cast<Message*>(message)->Check();
    message_bytes_ += static_cast<std::uint64_t>(message->GetPacketSize());
    ++complete_;
}

}  // namespace example
