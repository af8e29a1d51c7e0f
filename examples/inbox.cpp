// Where received messages wait.
#include "inbox.h"

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
Message* Inbox::Take() {
    while (auto* message = static_cast<Message*>(Pop())) {
        damaged_ = damaged_ || !message->IsIntact();
        if (!damaged_) {
            return message;
        }
        GiveBack(message);
    }
    return nullptr;
}

void Inbox::GiveBack(Message* message) {
    const int size = message->GetPacketSize();
    if (size <= kMostKeptBytes) {
        PushPool(message);
    } else {
        Destroy(message);
    }
    const auto bytes = static_cast<std::uint64_t>(size);
    const std::uint64_t bytes_left = message_bytes_ - (done_bytes_ += bytes);
    const std::uint64_t left = complete_ - ++done_;
    // The receiver thread adds nothing while it waits, so one of these is seen to come true.
    const bool bytes_fit = bytes_left <= kMostWaitingBytes;
    if (left == 0 || (left == kMostWaiting && bytes_fit) ||
        (bytes_fit && bytes_left + bytes > kMostWaitingBytes)) {
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
