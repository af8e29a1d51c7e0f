// One framed message: its packet block and the three numbers that say where the body lies in it.
#include <algorithm>
#include <climits>
#include <cstring>

#include "net/message_access.h"
#include "ztk/memory.h"

namespace ZTK {

namespace {

// The accessors are inline for hosts that are compiled with today's header. Others call the
// library's, which the compiler leaves out unless somebody needs their addresses.
[[gnu::used]] constexpr char* (CSocketMsg::*kTextAccessors[])() noexcept = {&CSocketMsg::GetPacket,
                                                                            &CSocketMsg::GetMsg};
[[gnu::used]] constexpr int (CSocketMsg::*kSizeAccessors[])() noexcept = {&CSocketMsg::GetMsgLength,
                                                                          &CSocketMsg::GetRecvSize};

}  // namespace

CSocketMsg::~CSocketMsg() {
    MemFree(packet_);
}

// A hook may copy the message whose header it is asked for. The bytes then lie in the caller's
// chunk, which the copy would outlive: the source takes them into its block first, and the two
// share that.
CSocketMsg::CSocketMsg(const CSocketMsg& other) noexcept {
    *this = other;
}

CSocketMsg& CSocketMsg::operator=(const CSocketMsg& other) noexcept {
    (void)const_cast<CSocketMsg&>(other).Settle(0);  // short of memory it leaves no received bytes
    packet_ = other.packet_;
    received_ = other.received_;
    capacity_ = other.capacity_;
    message_length_ = other.message_length_;
    message_offset_ = other.message_offset_;
    trailer_length_ = other.trailer_length_;
    view_ = nullptr;
    return *this;
}

int CSocketMsg::Add(void* data, int length) {
    if (data == nullptr || length < 1) {
        return -1;
    }
    net::MessageAccess message(*this);
    const std::int64_t expected = message.IsFramingKnown() ? message.PacketSize() : 0;
    if (!message.Settle(0) || !message.Append(static_cast<const char*>(data), length, expected)) {
        return -1;
    }
    if (!message.IsFramingKnown() && !message.AskFraming()) {
        return -1;
    }
    if (message.Received() < message.PacketSize()) {
        return -1;
    }
    // A sum below 1 comes back as it is: -2 tells a caller that the hook answered without lengths.
    return GetPacketSize();
}

void CSocketMsg::Reset() noexcept {
    net::MessageAccess(*this).Reset();
}

int CSocketMsg::GetPacketSize() noexcept {
    const std::int64_t size = net::MessageAccess(*this).PacketSize();
    return static_cast<int>(std::clamp<std::int64_t>(size, INT_MIN, INT_MAX));
}

// Makes the block hold bytes; false, with the block unchanged, when that cannot be had.
//
// A packet of expected bytes is allocated at once when half of it has arrived, else twice what has:
// a length that a peer merely announces takes no memory, and a packet that trickles in is not
// copied for every chunk. One zero byte is kept behind the packet, so that a body logged as text
// ends with it.
bool CSocketMsg::Resize(std::int64_t bytes, std::int64_t expected) noexcept {
    if (packet_ != nullptr && bytes <= capacity_) {
        return true;
    }
    if (bytes > INT_MAX) {
        return false;
    }
    std::int64_t room = std::min<std::int64_t>(2 * bytes, INT_MAX);
    if (expected > 0) {
        room = std::max(bytes, std::min(room, expected));
    } else if (packet_ == nullptr) {
        room = bytes;
    }
    const auto size = static_cast<std::uint64_t>(room) + 1;
    void* block = packet_ == nullptr ? MemAlloc(size) : MemRealloc(packet_, size);
    if (block == nullptr) {
        return false;
    }
    packet_ = static_cast<char*>(block);
    capacity_ = static_cast<int>(room);
    return true;
}

// Copies length bytes behind the received ones and counts them; false, with nothing changed, when
// there is no room for them.
bool CSocketMsg::Append(const char* data, int length, std::int64_t expected) noexcept {
    if (!Resize(std::int64_t{received_} + length, expected)) {
        return false;
    }
    std::memcpy(packet_ + received_, data, static_cast<std::size_t>(length));
    received_ += length;
    packet_[received_] = 0;
    return true;
}

// Takes the bytes that are still looked at in place into the own block. When that fails they are
// gone, and nothing has been received.
bool CSocketMsg::Settle(std::int64_t expected) noexcept {
    if (view_ == nullptr) {
        return true;
    }
    const char* bytes = view_;
    const int length = received_;
    view_ = nullptr;
    received_ = 0;
    return Append(bytes, length, expected);
}

}  // namespace ZTK
