// One run of AddMessage: cuts a chunk into messages without copying it once per message.
//
// A message that has no bytes yet looks at the chunk in place; its own bytes are copied once, when
// their number is known. What a hook can see is the same as if each message had been given all the
// rest of the chunk and the bytes behind its packet had been handed on to the next.
#pragma once

#include <cstdint>

#include "net/message_access.h"
#include "ztk/messages.h"

namespace ZTK::net {

class ChunkParser {
  public:
    // Parses the chunk; whether a message was completed. REQUIRES: the receiver has a current
    // message, and there is at least one byte.
    static bool Parse(CSocketMsgReceiver& receiver, char* data, int length)
        ZTK_REQUIRES(receiver.lock_);

  private:
    ChunkParser(CSocketMsgReceiver& receiver, char* data, int length) noexcept
        : receiver_(receiver), bytes_(data), left_(length) {}
    ChunkParser(const ChunkParser&) = delete;
    ChunkParser& operator=(const ChunkParser&) = delete;
    ~ChunkParser();

    bool Run() ZTK_REQUIRES(receiver_.lock_);
    bool Complete(MessageAccess message) ZTK_REQUIRES(receiver_.lock_);
    bool LookInPlace(MessageAccess message) ZTK_REQUIRES(receiver_.lock_);
    bool AskInPlace(MessageAccess message);
    bool AppendToPacket(MessageAccess message) ZTK_REQUIRES(receiver_.lock_);
    void HandOnBehind(MessageAccess message, int before, int size) ZTK_REQUIRES(receiver_.lock_);
    bool HandOnFromBlock(MessageAccess message, int size) ZTK_REQUIRES(receiver_.lock_);
    bool Publish(MessageAccess message, int size) ZTK_REQUIRES(receiver_.lock_);

    CSocketMsgReceiver& receiver_;
    char* bytes_;  // borrowed: the bytes that no complete message has taken yet
    int left_;
    char* spill_ = nullptr;  // owned; see HandOnFromBlock
};

}  // namespace ZTK::net
