#include "platform/posix/dom/arena.h"

#include <algorithm>

#include "platform/memory/allocation.h"
#include "platform/posix/process/large_block.h"

namespace ZTKPosix::dom {

Arena::~Arena() {
    while (last_ != nullptr) {
        Block* const previous = last_->previous;
        ZTK::allocation::RuntimeFree(last_);
        last_ = previous;
    }
}

bool Arena::AddBlock(std::size_t needed) noexcept {
    const std::size_t left = limit_ - total_;
    if (needed > left || left - needed < sizeof(Block)) {
        limit_reached_ = true;
        return false;
    }
    const std::size_t bytes = std::min(std::max(next_block_bytes_, needed + sizeof(Block)), left);
    void* const storage = ZTK::allocation::RuntimeAlloc(bytes);
    if (storage == nullptr) {
        return false;
    }
    ExpectLargeBlockFilled(storage, bytes);
    auto* const block = static_cast<Block*>(storage);
    *block = {last_, bytes};
    last_ = block;
    total_ += bytes;
    top_ = reinterpret_cast<char*>(block + 1);
    end_ = static_cast<char*>(storage) + bytes;
    if (next_block_bytes_ < kMaxBlockBytes) {
        next_block_bytes_ *= 2;
    }
    return true;
}

}  // namespace ZTKPosix::dom
