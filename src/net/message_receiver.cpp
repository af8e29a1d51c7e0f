// The receiver: the queue of complete messages, the pool of spent ones, and the entry to the
// parser.
#include "net/chunk_parser.h"
#include "net/message_access.h"
#include "net/message_queue.h"
#include "ztk/messages.h"
#include "ztk/scope.h"

namespace ZTK {

CSocketMsgReceiver::CSocketMsgReceiver() noexcept = default;

CSocketMsgReceiver::~CSocketMsgReceiver() {
    net::Release(queue_);
    net::Release(pool_);
}

void CSocketMsgReceiver::AssertPartialMsg(CSocketMsg*) {}

void CSocketMsgReceiver::AssertValidMsg(CSocketMsg*) {}

bool CSocketMsgReceiver::AddMessage(void* data, int length) {
    if (length < 1 || data == nullptr) {
        return false;
    }
    const CLockGuard guard(lock_);
    if (current_ == nullptr) {
        current_ = NewMessage();
    }
    if (current_ == nullptr) {
        return false;
    }
    return net::ChunkParser::Parse(*this, static_cast<char*>(data), length);
}

CSocketMsg* CSocketMsgReceiver::NewMessage() {
    CSocketMsg* message = net::Take(pool_);
    if (message == nullptr) {
        return CreateMessage();
    }
    net::MessageAccess(*message).Reset();
    return message;
}

void CSocketMsgReceiver::SetKeepRemainder(bool keep) noexcept {
    const CLockGuard guard(lock_);
    keep_remainder_ = keep;
}

CSocketMsg* CSocketMsgReceiver::Pop() noexcept {
    const CLockGuard guard(lock_);
    return net::Take(queue_);
}

std::size_t CSocketMsgReceiver::Pop(CSocketMsg** messages, std::size_t most) noexcept {
    if (messages == nullptr) {
        return 0;
    }
    const CLockGuard guard(lock_);
    return queue_.length == 0 ? 0 : net::Take(queue_, messages, most);
}

std::uint64_t CSocketMsgReceiver::Push(CSocketMsg* message) noexcept {
    const CLockGuard guard(lock_);
    if (message != nullptr) {
        (void)net::Append(queue_, message);  // short of memory: the length tells
    }
    return queue_.length;
}

std::uint64_t CSocketMsgReceiver::PushPool(CSocketMsg* message) noexcept {
    const CLockGuard guard(lock_);
    if (message != nullptr) {
        (void)net::Append(pool_, message);  // short of memory: the length tells
    }
    return pool_.length;
}

bool CSocketMsgReceiver::PushPool(CSocketMsg** messages, std::size_t count) noexcept {
    if (messages == nullptr) {
        return count == 0;
    }
    const CLockGuard guard(lock_);
    if (!net::Reserve(pool_, count)) {
        return false;
    }
    for (CSocketMsg* const* next = messages; next != messages + count; ++next) {
        if (*next != nullptr) {
            (void)net::Append(pool_, *next);  // there is room for all
        }
    }
    return true;
}

std::uint64_t CSocketMsgReceiver::GetQueueSize() noexcept {
    const CLockGuard guard(lock_);
    return queue_.length;
}

void CSocketMsgReceiver::LockQueue() noexcept {
    lock_.Lock();
}

void CSocketMsgReceiver::UnlockQueue() noexcept {
    lock_.Unlock();
}

}  // namespace ZTK
