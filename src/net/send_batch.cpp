// Messages that are sent together.
//
// They are copied into one block for plain sends, not listed for a gathering call: for messages of
// 64 bytes an entry of such a list took the system three times as long as the copy.
#include <algorithm>
#include <cstring>

#include "platform/memory/allocation.h"
#include "ztk/sockets.h"

namespace ZTK {

namespace {

constexpr std::size_t kFirstBytes = 4096;
// A larger block is not kept for the next batch: what one message needed once is no measure.
constexpr std::size_t kMostKeptBytes = std::size_t{1} << 20;
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;  // a Send counts in an int
constexpr std::size_t kMostBytes = static_cast<std::size_t>(-1) / 2;

}  // namespace

CSendBatch::CSendBatch(CClientSocket* socket) noexcept : socket_(socket) {}

CSendBatch::~CSendBatch() {
    allocation::RuntimeFree(block_);
}

bool CSendBatch::Add(const void* data, std::size_t length) noexcept {
    if (length == 0) {
        return true;
    }
    if (data == nullptr || (length > capacity_ - end_ && !MakeRoom(length))) {
        return false;
    }
    std::memcpy(block_ + end_, data, length);
    end_ += length;
    return true;
}

// Makes the block hold length bytes behind the added ones; false, with those untouched, when memory
// is short.
bool CSendBatch::MakeRoom(std::size_t length) noexcept {
    const std::size_t size = end_ - begin_;
    if (length > kMostBytes - size) {
        return false;
    }
    // A half that was sent is used again; less would be moved too often.
    if (size + length <= capacity_ && begin_ >= capacity_ / 2) {
        std::memmove(block_, block_ + begin_, size);
        begin_ = 0;
        end_ = size;
        return true;
    }
    // Doubled, so that each byte is copied a few times at most.
    const std::size_t wanted = std::max({size + length, 2 * size, kFirstBytes});
    auto* block = static_cast<char*>(allocation::RuntimeAlloc(wanted));
    if (block == nullptr) {
        return false;
    }
    if (size != 0) {
        std::memcpy(block, block_ + begin_, size);
    }
    allocation::RuntimeFree(block_);
    block_ = block;
    capacity_ = wanted;
    begin_ = 0;
    end_ = size;
    return true;
}

bool CSendBatch::Send(std::uint64_t* sent) noexcept {
    const std::size_t first = begin_;
    while (socket_ != nullptr && begin_ != end_) {
        const auto piece = static_cast<int>(std::min(end_ - begin_, kMostAtOnce));
        const int taken = socket_->Send(block_ + begin_, piece);
        if (taken < 1) {
            break;
        }
        begin_ += static_cast<std::size_t>(taken);
    }
    if (sent != nullptr) {
        *sent = begin_ - first;
    }
    if (begin_ != end_) {
        return false;
    }
    Clear();
    return true;
}

void CSendBatch::Clear() noexcept {
    begin_ = 0;
    end_ = 0;
    if (capacity_ > kMostKeptBytes) {
        allocation::RuntimeFree(block_);
        block_ = nullptr;
        capacity_ = 0;
    }
}

std::size_t CSendBatch::GetSize() const noexcept {
    return end_ - begin_;
}

}  // namespace ZTK
