// The steps of framing, as operations on a message. CSocketMsg::Add, the receiver and the parser
// change a message's fields through them only. Inline, since they are used for every message.
#pragma once

#include <cstdint>
#include <cstring>

#include "ztk/messages.h"

namespace ZTK::net {

// The three lengths of a packet, as ParseHeader stores them: in bytes.
struct Framing {
    int length;
    int offset;
    int trailer;
};

// Borrows the message. Passed by value: it is one pointer.
class MessageAccess {
  public:
    explicit MessageAccess(CSocketMsg& message) noexcept : message_(message) {}

    [[nodiscard]] CSocketMsg* get() const noexcept { return &message_; }

    // --- Framing

    // Whether ParseHeader need not be asked any more. An announced body of 0 bytes counts as not
    // yet known.
    [[nodiscard]] bool IsFramingKnown() const noexcept { return message_.message_length_ >= 1; }

    [[nodiscard]] Framing GetFraming() const noexcept {
        return {message_.message_length_, message_.message_offset_, message_.trailer_length_};
    }
    void SetFraming(const Framing& framing) noexcept {
        message_.message_length_ = framing.length;
        message_.message_offset_ = framing.offset;
        message_.trailer_length_ = framing.trailer;
    }

    // The lengths come from the peer: their sum may not fit in an int.
    [[nodiscard]] std::int64_t PacketSize() const noexcept {
        return std::int64_t{message_.message_length_} + message_.message_offset_ +
               message_.trailer_length_;
    }

    // Calls the host's hook, which may throw.
    bool AskFraming() {
        return message_.ParseHeader(&message_.message_length_, &message_.message_offset_,
                                    &message_.trailer_length_);
    }

    // --- Received bytes

    [[nodiscard]] int Received() const noexcept { return message_.received_; }

    // The message's own block, null before it has one, and the bytes that it has room for.
    [[nodiscard]] char* Block() const noexcept { return message_.packet_; }
    [[nodiscard]] int Capacity() const noexcept { return message_.capacity_; }

    // Copies length bytes behind the received ones; expected is the packet's size, or 0 while
    // unknown. False, with nothing changed, when memory is short.
    bool Append(const char* data, int length, std::int64_t expected) noexcept {
        return message_.Append(data, length, expected);
    }

    // Ends the received bytes at the packet's end. REQUIRES: they lie in the block.
    void CutToPacket(int size) noexcept {
        message_.received_ = size;
        message_.packet_[size] = 0;
    }

    // Makes the message fresh; its block stays.
    void Reset() noexcept {
        SetFraming({-1, -1, 0});
        message_.received_ = 0;
        message_.view_ = nullptr;
    }

    // --- Bytes looked at in place

    // Lets a message without bytes count those of a chunk as received, without a copy.
    void LookAt(char* bytes, int length) noexcept {
        message_.view_ = bytes;
        message_.received_ = length;
    }
    [[nodiscard]] bool IsLookingAt(const char* bytes, int length) const noexcept {
        return message_.view_ == bytes && message_.received_ == length;
    }

    // Copies the bytes that are looked at, if there are any, into the block; expected as for
    // Append. False when memory is short: then nothing has been received.
    bool Settle(std::int64_t expected) noexcept {
        return message_.view_ == nullptr || message_.Settle(expected);
    }

    // Copies a whole packet into the block, in place of what is looked at. False when memory is
    // short: then nothing has been received.
    bool StorePacket(const char* bytes, int size) noexcept {
        message_.view_ = nullptr;
        message_.received_ = 0;
        // The block of a message from the pool mostly suffices.
        if (size > message_.capacity_ && !message_.Resize(size, size)) {
            return false;
        }
        std::memcpy(message_.packet_, bytes, static_cast<std::size_t>(size));
        CutToPacket(size);
        return true;
    }

  private:
    CSocketMsg& message_;
};

}  // namespace ZTK::net
