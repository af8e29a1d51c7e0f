// One run of AddMessage: cuts a chunk into messages.
#include "net/chunk_parser.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "frame/host/logging_switches.h"
#include "net/message_queue.h"
#include "platform/memory/allocation.h"
#include "ztk/logging.h"

namespace ZTK::net {

namespace {

// Whether a packet of size bytes is whole once received bytes are there. Sizes that make no sense
// never are: such a message waits for ever.
bool IsWhole(std::int64_t size, std::int64_t received) {
    return size >= 1 && size <= INT_MAX && received >= size;
}

}  // namespace

ChunkParser::~ChunkParser() {
    allocation::RuntimeFree(spill_);
}

// Not analysed: that the parser's receiver is the one whose lock is held is not seen by it.
bool ChunkParser::Parse(CSocketMsgReceiver& receiver, char* data,
                        int length) ZTK_NO_THREAD_SAFETY_ANALYSIS {
    return ChunkParser(receiver, data, length).Run();
}

bool ChunkParser::Run() {
    bool any = false;
    CSocketMsg* message = receiver_.current_;
    while (message != nullptr && Complete(*message)) {
        any = true;
        receiver_.current_ = nullptr;
        if (left_ < 1) {
            break;
        }
        message = receiver_.current_ = receiver_.NewMessage();
    }
    // With logging off nobody is told of partial messages: hosts switch it on to have them checked.
    if (frame::LoggingEnabled() && receiver_.current_ != nullptr && left_ > 0) {
        receiver_.AssertPartialMsg(receiver_.current_);
    }
    return any;
}

// Gives the rest of the chunk to the message. True when that completed it: it is queued then, and
// the parser stands behind it. False leaves the message waiting with all bytes that could be kept.
bool ChunkParser::Complete(CSocketMsg& message) {
    return message.received_ == 0 ? LookInPlace(message) : AppendToPacket(message);
}

// A message without bytes: its header is looked for in the chunk itself.
bool ChunkParser::LookInPlace(CSocketMsg& message) {
    const int length = message.message_length_;
    const int offset = message.message_offset_;
    const int trailer = message.trailer_length_;
    message.view_ = bytes_;
    message.received_ = left_;
    const bool known = length >= 1 || AskInPlace(message);
    const std::int64_t size = message.Sum();
    if (message.view_ != bytes_ || message.received_ != left_) {
        // The hook itself added to the message, or reset it: it has bytes of its own by now.
        (void)message.Settle(0);
        if (!known || !IsWhole(size, message.received_) || !Reserve(receiver_.queue_)) {
            return false;
        }
        const int end = static_cast<int>(size);
        return HandOnFromBlock(message, end) && Publish(message, end);
    }
    if (known && IsWhole(size, left_) && Reserve(receiver_.queue_)) {
        const int end = static_cast<int>(size);
        if (TakeFromChunk(message, end)) {
            return Publish(message, end);
        }
    } else if (message.Settle(known ? size : 0)) {
        return false;
    }
    // Short of memory: the message goes on as if this chunk had never come.
    message.message_length_ = length;
    message.message_offset_ = offset;
    message.trailer_length_ = trailer;
    return false;
}

// A hook that throws must not leave the message with a view of bytes that the caller takes back.
bool ChunkParser::AskInPlace(CSocketMsg& message) {
    try {
        return message.ParseHeader(&message.message_length_, &message.message_offset_,
                                   &message.trailer_length_);
    } catch (...) {
        message.Clear();
        throw;
    }
}

// The one copy of a packet that lies whole in the chunk.
bool ChunkParser::TakeFromChunk(CSocketMsg& message, int size) {
    message.view_ = nullptr;
    message.received_ = 0;
    if (!message.Resize(size, size)) {
        return false;
    }
    std::memcpy(message.packet_, bytes_, static_cast<std::size_t>(size));
    message.Truncate(size);
    bytes_ += size;
    left_ -= size;
    return true;
}

// A message that was begun in an earlier chunk.
bool ChunkParser::AppendToPacket(CSocketMsg& message) {
    const int before = message.received_;
    const bool known = message.message_length_ >= 1;
    std::int64_t size = message.Sum();
    // All of the chunk, unless it is known where the packet ends: what lies behind is for the next
    // one.
    int taken = left_;
    if (known && size >= before && IsWhole(size, std::int64_t{before} + left_)) {
        taken = static_cast<int>(size - before);
    }
    if (!message.Settle(0) || !message.Append(bytes_, taken, known ? size : 0)) {
        return false;
    }
    if (!known) {
        if (!message.ParseHeader(&message.message_length_, &message.message_offset_,
                                 &message.trailer_length_)) {
            return false;
        }
        size = message.Sum();
    }
    if (!IsWhole(size, message.received_)) {
        return false;
    }
    if (!Reserve(receiver_.queue_)) {
        // It waits with all its bytes and is queued with the next chunk.
        (void)message.Append(bytes_ + taken, left_ - taken, 0);
        return false;
    }
    const int end = static_cast<int>(size);
    const bool in_chunk = end >= before && message.received_ == before + taken;
    if (in_chunk) {
        HandOnBehind(message, before, end);
    } else if (!HandOnFromBlock(message, end)) {
        return false;
    }
    return Publish(message, end);
}

// Moves on to the bytes behind a packet whose first bytes came earlier.
//
// Unless the remainder is kept, only as many bytes are handed on as the chunk is longer than the
// whole packet, though more lie there. Callers' peers take turns: what would follow a message in a
// later chunk belongs to an exchange that is over, and hosts rely on its being dropped.
void ChunkParser::HandOnBehind(CSocketMsg& message, int before, int size) {
    message.Truncate(size);
    const int missing = size - before;
    bytes_ += missing;
    left_ -= receiver_.keep_remainder_ ? missing : size;
}

// The same when the packet ends before the chunk's first byte: the header took longer to be
// understood than the packet is long. The bytes to hand on are in the packet's block then, which is
// about to be queued and may be reused any time: they are copied out of it.
bool ChunkParser::HandOnFromBlock(CSocketMsg& message, int size) {
    const int behind = message.received_ - size;
    const int rest = receiver_.keep_remainder_ ? behind : std::min(behind, left_ - size);
    if (rest > 0) {
        auto* spill = static_cast<char*>(allocation::RuntimeAlloc(static_cast<std::size_t>(rest)));
        if (spill == nullptr) {
            return false;
        }
        std::memcpy(spill, message.packet_ + size, static_cast<std::size_t>(rest));
        allocation::RuntimeFree(spill_);
        spill_ = spill;
        bytes_ = spill;
    }
    left_ = rest;
    message.Truncate(size);
    return true;
}

// Has a complete message checked, queued and logged, in this order. The lock has been held
// throughout, so the message is still ours when it is logged; but the check may have changed it.
bool ChunkParser::Publish(CSocketMsg& message, int size) {
    receiver_.AssertValidMsg(&message);
    if (!Append(receiver_.queue_, &message)) {
        return false;
    }
    if (!frame::LoggingEnabled()) {
        return true;
    }
    size = std::min(size, message.capacity_);
    if (!frame::LoggingAsText()) {
        LogHex(L"recv:", reinterpret_cast<unsigned char*>(message.packet_),
               static_cast<DWORD>(size));
        return true;
    }
    const int offset = message.message_offset_;
    const bool has_body = message.message_length_ > 0 && offset > 0 && offset < size;
    LogTextA(has_body ? message.packet_ + offset : nullptr);
    return true;
}

}  // namespace ZTK::net
