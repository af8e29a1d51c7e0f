// Events that wait to be sent to one peer.
#include "agent/outbox.h"

namespace example {

namespace {

constexpr std::size_t kMostBytes = 1 << 20;

}  // namespace

Outbox::Outbox() : added_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

Outbox::~Outbox() {
    CloseHandle(added_);
}

bool Outbox::Add(const Bytes& message) {
    const ZTK::CLockGuard guard(lock_);
    if (message->size() > kMostBytes - bytes_) {
        return false;
    }
    if (messages_.empty()) {
        last_taken_ = Clock::now();
    }
    messages_.push_back(message);
    bytes_ += message->size();
    SetEvent(added_);  // each time: the sender takes what it has seen and may leave this one
    return true;
}

std::size_t Outbox::MoveTo(ZTK::CSendBatch* batch, std::size_t most) {
    const ZTK::CLockGuard guard(lock_);
    std::size_t moved = 0;
    while (!messages_.empty() && batch->GetSize() < most) {
        const Bytes message = messages_.front();
        messages_.pop_front();
        bytes_ -= message->size();
        if (!batch->Add(message->data(), message->size())) {
            return 0;
        }
        moved += message->size();
    }
    last_taken_ = Clock::now();
    return moved;
}

bool Outbox::IsBehind() const {
    return bytes_ > kMostBytes / 2;
}

std::chrono::milliseconds Outbox::IdleTime() {
    const ZTK::CLockGuard guard(lock_);
    return messages_.empty()
               ? std::chrono::milliseconds(0)
               : std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - last_taken_);
}

}  // namespace example
