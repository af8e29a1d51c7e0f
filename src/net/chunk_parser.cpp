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
    while (message != nullptr && Complete(MessageAccess(*message))) {
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
bool ChunkParser::Complete(MessageAccess message) {
    return message.Received() == 0 ? LookInPlace(message) : AppendToPacket(message);
}

// A message without bytes: its header is looked for in the chunk itself.
bool ChunkParser::LookInPlace(MessageAccess message) {
    const Framing before = message.GetFraming();
    message.LookAt(bytes_, left_);
    const bool known = message.IsFramingKnown() || AskInPlace(message);
    const std::int64_t size = message.PacketSize();
    if (!message.IsLookingAt(bytes_, left_)) {
        // The hook itself added to the message, or reset it: it has bytes of its own by now.
        (void)message.Settle(0);  // short of memory it has no bytes, and is not whole
        if (!known || !IsWhole(size, message.Received()) || !Reserve(receiver_.queue_)) {
            return false;
        }
        const int end = static_cast<int>(size);
        return HandOnFromBlock(message, end) && Publish(message, end);
    }
    if (known && IsWhole(size, left_) && Reserve(receiver_.queue_)) {
        const int end = static_cast<int>(size);
        if (message.StorePacket(bytes_, end)) {
            bytes_ += end;
            left_ -= end;
            return Publish(message, end);
        }
    } else if (message.Settle(known ? size : 0)) {
        return false;
    }
    // Short of memory: the message goes on as if this chunk had never come.
    message.SetFraming(before);
    return false;
}

// A hook that throws must not leave the message with a view of bytes that the caller takes back.
bool ChunkParser::AskInPlace(MessageAccess message) {
    try {
        return message.AskFraming();
    } catch (...) {
        message.Reset();
        throw;
    }
}

// A message that was begun in an earlier chunk.
bool ChunkParser::AppendToPacket(MessageAccess message) {
    const int before = message.Received();
    const bool known = message.IsFramingKnown();
    std::int64_t size = message.PacketSize();
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
        if (!message.AskFraming()) {
            return false;
        }
        size = message.PacketSize();
    }
    if (!IsWhole(size, message.Received())) {
        return false;
    }
    if (!Reserve(receiver_.queue_)) {
        // It waits with all its bytes and is queued with the next chunk. If there is no memory for
        // the bytes behind it either, those are lost.
        (void)message.Append(bytes_ + taken, left_ - taken, 0);
        return false;
    }
    const int end = static_cast<int>(size);
    const bool in_chunk = end >= before && message.Received() == before + taken;
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
void ChunkParser::HandOnBehind(MessageAccess message, int before, int size) {
    message.CutToPacket(size);
    const int missing = size - before;
    bytes_ += missing;
    left_ -= receiver_.keep_remainder_ ? missing : size;
}

// The same when the packet ends before the chunk's first byte: the header took longer to be
// understood than the packet is long. The bytes to hand on are in the packet's block then, which is
// about to be queued and may be reused any time: they are copied out of it.
bool ChunkParser::HandOnFromBlock(MessageAccess message, int size) {
    const int behind = message.Received() - size;
    const int rest = receiver_.keep_remainder_ ? behind : std::min(behind, left_ - size);
    if (rest > 0) {
        auto* spill = static_cast<char*>(allocation::RuntimeAlloc(static_cast<std::size_t>(rest)));
        if (spill == nullptr) {
            return false;
        }
        std::memcpy(spill, message.Block() + size, static_cast<std::size_t>(rest));
        allocation::RuntimeFree(spill_);
        spill_ = spill;
        bytes_ = spill;
    }
    left_ = rest;
    message.CutToPacket(size);
    return true;
}

// Has a complete message checked, queued and logged, in this order. The lock has been held
// throughout, so the message is still ours when it is logged; but the check may have changed it.
bool ChunkParser::Publish(MessageAccess message, int size) {
    receiver_.AssertValidMsg(message.get());
    if (!Append(receiver_.queue_, message.get())) {
        return false;
    }
    if (!frame::LoggingEnabled()) {
        return true;
    }
    size = std::min(size, message.Capacity());
    if (!frame::LoggingAsText()) {
        LogHex(L"recv:", reinterpret_cast<unsigned char*>(message.Block()),
               static_cast<DWORD>(size));
        return true;
    }
    const Framing framing = message.GetFraming();
    const bool has_body = framing.length > 0 && framing.offset > 0 && framing.offset < size;
    LogTextA(has_body ? message.Block() + framing.offset : nullptr);
    return true;
}

}  // namespace ZTK::net
