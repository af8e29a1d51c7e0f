// Memory that is taken piece by piece and given back as a whole.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ZTKPosix::dom {

// Everything handed out is aligned for pointers and lives until the arena is destroyed. No
// destructors run: it is for trivially destructible types only. Used by one thread at a time.
class Arena {
  public:
    // So large that huge pages fill most of a block, see AddBlock. A part that is never handed out
    // takes no memory.
    static constexpr std::size_t kMaxBlockBytes = std::size_t{16} << 20;

    // The first block is made when something is first asked for, first_block_bytes large.
    explicit Arena(std::size_t first_block_bytes) noexcept : next_block_bytes_(first_block_bytes) {}
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;
    ~Arena();

    // From now on all blocks together may have that many bytes at most.
    void SetLimit(std::size_t bytes) noexcept { limit_ = bytes; }

    // Null when memory is short or the limit is reached; LimitReached tells which.
    [[nodiscard]] void* Allocate(std::size_t bytes) noexcept {
        const std::size_t rounded = Round(bytes);
        if (rounded > static_cast<std::size_t>(end_ - top_) && !AddBlock(rounded)) {
            return nullptr;
        }
        char* const start = top_;
        top_ += rounded;
        return start;
    }

    // Cuts the last allocation short: it ends at end, rounded up.
    void ShrinkLast(const void* end) noexcept {
        const auto address = reinterpret_cast<std::uintptr_t>(end);
        top_ -= reinterpret_cast<std::uintptr_t>(top_) - (address + kAlign - 1) / kAlign * kAlign;
    }

    // The bytes that the last allocation can still grow by.
    [[nodiscard]] std::size_t RoomAfterLast() const noexcept {
        return static_cast<std::size_t>(end_ - top_);
    }

    [[nodiscard]] bool LimitReached() const noexcept { return limit_reached_; }

  private:
    struct Block {
        Block* previous;
        std::size_t bytes;
    };
    static constexpr std::size_t kAlign = alignof(void*);

    static std::size_t Round(std::size_t bytes) noexcept {
        return (bytes + kAlign - 1) / kAlign * kAlign;
    }
    bool AddBlock(std::size_t needed) noexcept;

    char* top_ = nullptr;
    char* end_ = nullptr;
    Block* last_ = nullptr;
    std::size_t next_block_bytes_;
    std::size_t limit_ = SIZE_MAX;
    std::size_t total_ = 0;
    bool limit_reached_ = false;
};

}  // namespace ZTKPosix::dom
