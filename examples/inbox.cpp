// Where received messages wait.
#include "inbox.h"

namespace example {

namespace {

constexpr std::uint64_t kMostWaiting = 4096;  // messages

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
    WaitWhileMoreThan(kMostWaiting);
    return true;
}

void Inbox::WaitUntilEmpty() {
    WaitWhileMoreThan(0);
}

void Inbox::WaitWhileMoreThan(std::uint64_t messages) {
    while (!closed_ && complete_ - done_ > messages) {
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
    PushPool(message);
    // The receiver thread adds nothing while it waits, so it cannot miss the number that it waits
    // for.
    const std::uint64_t left = complete_ - ++done_;
    if (left == kMostWaiting || left == 0) {
        SetEvent(given_back_);
    }
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
