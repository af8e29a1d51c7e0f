// Framing: cuts a received byte stream into messages, queues them for a consumer and recycles them.
//
// The host derives a message that knows its wire format, and a receiver that makes such messages:
//
//     class Message : public ZTK::CSocketMsg {
//       public:
//         bool ParseHeader(int* length, int* offset, int* trailer) override {
//             if (GetRecvSize() < 4) return false;  // ask again when more has arrived
//             *length = DecodeLength(GetPacket());  // of the body
//             *offset = 4;                          // the header's length
//             *trailer = 0;
//             return true;
//         }
//     };
//     class Receiver : public ZTK::CSocketMsgReceiver {
//         ZTK::CSocketMsg* CreateMessage() override { return new Message; }
//     };
//
// OnReceive of the socket's ISOReceiver passes each chunk to AddMessage; a consumer thread takes
// messages with Pop and gives them back with PushPool. Where many small ones arrive, it does better
// to move many at a time, because each call takes the receiver's lock:
//
//     ZTK::CSocketMsg* messages[64];
//     while (const std::size_t count = receiver.Pop(messages, 64)) {
//         ...
//         receiver.PushPool(messages, count);
//     }
//
// Nothing limits the queue: when the consumer stops, it grows with what the peer sends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ztk/platform.h"
#include "ztk/platform/thread_annotations.h"
#include "ztk/sync.h"

namespace ZTK {

class CSocketMsg;
class CSocketMsgReceiver;

namespace net {

class ChunkParser;
class MessageAccess;

// The storage of a first-in first-out queue of borrowed messages: a ring whose capacity is a power
// of two or 0. Of use to the library only.
struct MessageRing {
    CSocketMsg** slots = nullptr;
    std::size_t capacity = 0;
    std::size_t first = 0;
    std::size_t length = 0;
};

}  // namespace net

// One message: a packet (header, body and trailer, back to back) and where the body lies in it. The
// packet size is always message length + message offset + trailer length.
//
// Ownership: whoever made the message destroys it, through the derived class; the library never
// does. The packet belongs to the message and is freed with it.
//
// Thread-safety: a message is used by one thread at a time.
class ZTK_API CSocketMsg {
  protected:
    // A fresh message: no packet, received size 0, message length and offset -1, trailer length 0.
    CSocketMsg() noexcept = default;

    // Frees the packet.
    virtual ~CSocketMsg();

  public:
    // Member-wise: the copy shares its source's packet block, and only one of the two may be
    // destroyed. Assigning does not free the block that the target held before. Inside ParseHeader
    // the source first takes the bytes of the chunk into its block; when memory is short, source
    // and copy have none.
    CSocketMsg(const CSocketMsg& other) noexcept;
    CSocketMsg& operator=(const CSocketMsg& other) noexcept;

    // The host's wire format. Reads GetPacket() and GetRecvSize(); once the bytes received so far
    // are enough, stores the body's length, its offset (the header's length) and the trailer's
    // length, all in bytes, and returns true; until then returns false and is asked again when more
    // have arrived. The bytes may go on beyond this packet: with the start of the next one.
    //
    // Asked only while the message length is below 1. A message that announces an empty body
    // (length 0) before its packet is complete is therefore asked again with every chunk until it
    // is. From AddMessage it is called with the receiver's lock held: it must not wait for a
    // consumer.
    //
    // Lengths that give a packet size below 1 or above 2147483647 never complete a message: check
    // what the peer sent, and close the connection if it makes no sense. Until then the bytes that
    // arrive are kept; memory is taken for what has arrived, never for what was merely announced.
    virtual bool ParseHeader(int* message_length, int* message_offset, int* trailer_length) = 0;

    // Appends length bytes of data and asks ParseHeader if need be. Returns the packet size once at
    // least that many bytes have been received (bytes beyond it are kept and counted as received);
    // -1 before that, and for null data and a length below 1. Also -1, with nothing added, when
    // memory is short or the received size would pass 2147483647.
    //
    // Lengths from ParseHeader that give a packet size below 1 are returned as they add up.
    int Add(void* data, int length);

    // Makes the message fresh again: received size 0, message length and offset -1, trailer length
    // 0. The packet block is kept for reuse.
    void Reset() noexcept;

    // The packet's bytes, owned by the message; null while it has no block, which it keeps over a
    // Reset. Valid until the next Add, AddMessage or Reset. Inside ParseHeader the bytes may still
    // lie in the chunk that was passed to AddMessage: do not keep the pointer, and do not write
    // through it unless the chunk may be written.
    [[nodiscard]] ZTK_API_INLINE char* GetPacket() noexcept {
        return view_ != nullptr ? view_ : packet_;
    }

    // Message length + message offset + trailer length as they stand, -2 for a fresh message. A sum
    // that no int holds gives the nearest one that it does.
    [[nodiscard]] int GetPacketSize() noexcept;

    // The body: packet + message offset. Null unless message length and message offset are both
    // above 0 and there is a packet; so a message with an empty body, or one whose body starts at
    // offset 0, has none by this rule. Valid as long as GetPacket(). The body is not terminated:
    // GetMsgLength() bytes, which are there once the packet is complete; before that the pointer
    // may lie behind the bytes received.
    [[nodiscard]] ZTK_API_INLINE char* GetMsg() noexcept {
        char* packet = GetPacket();
        const bool has_body = packet != nullptr && message_length_ > 0 && message_offset_ > 0;
        return has_body ? packet + message_offset_ : nullptr;
    }

    // The body's length in bytes; -1 while unknown.
    [[nodiscard]] ZTK_API_INLINE int GetMsgLength() noexcept { return message_length_; }

    // The packet bytes received so far.
    [[nodiscard]] ZTK_API_INLINE int GetRecvSize() noexcept { return received_; }

  private:
    friend class net::MessageAccess;  // how the library's framing works on a message

    ZTK_LOCAL bool Resize(std::int64_t bytes, std::int64_t expected) noexcept;
    ZTK_LOCAL bool Append(const char* data, int length, std::int64_t expected) noexcept;
    ZTK_LOCAL bool Settle(std::int64_t expected) noexcept;

    char* packet_ = nullptr;  // owned, capacity_ bytes and one zero byte behind them
    int received_ = 0;
    int capacity_ = 0;
    int message_length_ = -1;
    int message_offset_ = -1;
    int trailer_length_ = 0;
    // Borrowed: where the received bytes lie while ParseHeader looks at a chunk in place, else
    // null.
    char* view_ = nullptr;
};

// Cuts chunks into messages: holds one partial message, a first-in first-out queue of complete ones
// and a pool of spent ones.
//
// Ownership: messages belong to the host, which made them in CreateMessage and is to keep track of
// them. The receiver destroys none: not those in its queue, nor in its pool, nor the partial one.
// Destroying the receiver frees its two queues and its lock only; no other thread may use it by
// then.
//
// Thread-safety: all public functions may be called from any thread. AddMessage holds the lock for
// its whole run, so a Pop on another thread waits until the chunk has been cut up. The hooks
// CreateMessage, ParseHeader, AssertValidMsg and AssertPartialMsg run with the lock held: they must
// not wait for a consumer. The lock is recursive, and hooks may call the receiver, but for
// AddMessage, which is not made to begin again in its middle. An exception from a hook reaches the
// caller of AddMessage with the lock released; bytes of the chunk that were not yet part of a
// message are lost.
class ZTK_API CSocketMsgReceiver {
  public:
    CSocketMsgReceiver() noexcept;
    CSocketMsgReceiver(const CSocketMsgReceiver&) = delete;
    CSocketMsgReceiver& operator=(const CSocketMsgReceiver&) = delete;
    virtual ~CSocketMsgReceiver();

    // Makes a new, fresh message of the host's class, on the host's heap. Called when a message is
    // needed and the pool is empty. When it returns null, the bytes of the chunk at hand that
    // belong to no message yet are lost.
    virtual CSocketMsg* CreateMessage() = 0;

  protected:
    // Called at the end of AddMessage, while logging is on (EnableLogging), for a message that is
    // waiting for more bytes. Does nothing unless overridden.
    virtual void AssertPartialMsg(CSocketMsg* message);

    // Called for each complete message, just before it is queued and logged. Does nothing unless
    // overridden.
    virtual void AssertValidMsg(CSocketMsg* message);

  public:
    // Feeds one chunk of length bytes. Completed messages are queued in order, and, while logging
    // is on, written to the trace log: in text mode the packet from its body on, up to the first
    // zero byte or the packet's end, else a hex dump of the whole packet labelled "recv:". A
    // message that is not complete yet waits for the next chunk. data is not kept.
    //
    // Returns whether this call completed at least one message; false also for null data, a length
    // below 1 and when CreateMessage returns null.
    //
    // Bytes are lost, unless SetKeepRemainder is on, when a chunk completes a message that was
    // begun in an earlier chunk: of the bytes behind it, as many are dropped as had been received
    // earlier (all, if there are not more). Peers that take turns, one message and then its answer,
    // never send such bytes.
    //
    // Errors: when memory is short, the bytes of the chunk that were not yet part of a message are
    // lost; what was received before, queued or waiting, stays.
    bool AddMessage(void* data, int length);

    // Whether no byte is ever dropped: whatever follows a completed message in a chunk begins the
    // next one. Off at first. Switch it on, before the first chunk, where a peer may send its next
    // message without waiting for an answer to the last.
    void SetKeepRemainder(bool keep) noexcept;

    // Removes and returns the oldest complete message, or null if there is none. It belongs to the
    // caller until it is handed back with PushPool; the receiver does not touch it meanwhile.
    CSocketMsg* Pop() noexcept;

    // The same for many: removes up to most of the oldest complete messages, stores them in
    // messages in their order and returns how many there were, 0 for null messages. Takes the lock
    // once, however many there are. REQUIRES: messages has room for most pointers.
    std::size_t Pop(CSocketMsg** messages, std::size_t most) noexcept;

    // Appends a message to the queue. Returns the queue's length afterwards: unchanged for a null
    // message and when memory is short. REQUIRES: the message is neither queued nor pooled.
    std::uint64_t Push(CSocketMsg* message) noexcept;

    // Appends a spent message to the pool, from which AddMessage takes the oldest when it needs
    // one. The message keeps its packet block and is reset when it is taken. Returns the pool's
    // length afterwards: unchanged for a null message and when memory is short, and then the caller
    // still has the message. REQUIRES: the message is neither queued nor pooled.
    std::uint64_t PushPool(CSocketMsg* message) noexcept;

    // The same for many, in their order; null pointers among them are passed over. Takes the lock
    // once. All or nothing: false when memory is short, and then the caller still has every
    // message; also for null messages with a count above 0.
    bool PushPool(CSocketMsg** messages, std::size_t count) noexcept;

    // The number of complete messages in the queue.
    [[nodiscard]] std::uint64_t GetQueueSize() noexcept;

    // Take and release the receiver's lock, so that a consumer can drain the queue as one step.
    // Each LockQueue needs one UnlockQueue on the same thread.
    void LockQueue() noexcept ZTK_ACQUIRE(lock_);
    void UnlockQueue() noexcept ZTK_RELEASE(lock_);

  private:
    friend class net::ChunkParser;

    ZTK_LOCAL CSocketMsg* NewMessage() ZTK_REQUIRES(lock_);

    CSocketMsg* current_ ZTK_GUARDED_BY(lock_) = nullptr;  // the partial message
    CLock lock_;
    net::MessageRing queue_ ZTK_GUARDED_BY(lock_);
    net::MessageRing pool_ ZTK_GUARDED_BY(lock_);
    bool keep_remainder_ ZTK_GUARDED_BY(lock_) = false;
};

}  // namespace ZTK
