#include "frame/base/tmp_ring.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <new>
#include <thread>

#include "frame/base/fatal.h"
#include "platform/large_block.h"
#include "platform/memory/allocation.h"
#include "ztk/memory.h"

namespace ZTK::frame {

namespace {

constexpr std::int32_t kRingSlots = 256;

// The next slot index of a ring. Seen from one thread the indexes run 0, 1, ... limit - 1, 0, 1,
// ...
std::int32_t NextTmpIndex(std::atomic<std::int32_t>& counter, std::int32_t limit) noexcept {
    for (;;) {
        const std::int32_t drawn = counter.fetch_add(1);
        if (drawn < limit) {
            return drawn;
        }
        if (drawn == limit) {
            // Whoever draws the limit itself wraps the ring, also one that was waiting for a wrap:
            // a drawn limit that nobody acted on would leave every later caller waiting.
            counter.store(1);
            return 0;
        }
        // Another caller is between drawing the limit and resetting the counter. Looking without
        // drawing keeps the counter from running away while that caller is not scheduled.
        while (counter.load() > limit) {
            std::this_thread::yield();
        }
    }
}

// One ring of slots for texts of Char. Constant-initialized.
template <typename Char>
class TmpRing {
  public:
    // REQUIRES: 1 <= count <= kMaxRingText.
    TmpSlot<Char> Request(std::uint32_t count) noexcept;
    // REQUIRES: as above; index is one that Request gave.
    Char* Grow(std::int32_t index, std::uint32_t count) noexcept {
        return EnsureTmpSlot(slots_[index], count)->Text();
    }

    void UnblockInChild() noexcept;
    void Clear() noexcept;
    void Free() noexcept;

  private:
    struct Block;

    Block* EnsureTmpSlot(std::atomic<Block*>& slot, std::uint32_t count) noexcept;

    std::atomic<std::int32_t> next_{0};
    std::atomic<Block*> slots_[kRingSlots] = {};
};

// The text lies directly behind the capacity. Blocks that a slot has outgrown stay allocated until
// the library is unloaded, linked through `older`: a thread that was held up between its request
// and its last write then still writes into memory. Only their pages are given back, where the
// system can do that: capacities double, so all outgrown blocks of a slot together are as large as
// its current one, and the rings would hold twice what their texts need.
template <typename Char>
struct TmpRing<Char>::Block {
    Block* older;
    std::uint32_t capacity;  // characters

    Char* Text() noexcept { return reinterpret_cast<Char*>(this + 1); }

    static Block* Create(std::uint32_t count, Block* older) noexcept {
        constexpr std::uint32_t kSmallest = 64;
        const std::uint32_t capacity =
            std::min(std::bit_ceil(std::max(count, kSmallest)), kMaxRingText);
        void* memory = allocation::ProcessAlloc(sizeof(Block) + capacity * sizeof(Char));
        if (memory == nullptr) {
            Fatal("Out of memory for a temporary string.");
        }
        auto* block = ::new (memory) Block{older, capacity};
        if (older != nullptr) {
            // The text of the slot's earlier user stays readable behind the first character.
            std::memcpy(block->Text(), older->Text(), older->capacity * sizeof(Char));
        }
        return block;
    }
};

template <typename Char>
auto TmpRing<Char>::EnsureTmpSlot(std::atomic<Block*>& slot, std::uint32_t count) noexcept
    -> Block* {
    Block* block = slot.load(std::memory_order_acquire);
    while (block == nullptr || block->capacity < count) {
        Block* larger = Block::Create(count, block);
        if (slot.compare_exchange_strong(block, larger, std::memory_order_acq_rel)) {
            if (block != nullptr) {
                DropContents(block->Text(), block->capacity * sizeof(Char));
            }
            return larger;
        }
        allocation::ProcessFree(larger);  // another thread grew the slot first; look at its block
    }
    return block;
}

template <typename Char>
TmpSlot<Char> TmpRing<Char>::Request(std::uint32_t count) noexcept {
    const std::int32_t index = NextTmpIndex(next_, kRingSlots);
    Block* const block = EnsureTmpSlot(slots_[index], count);
    Char* const text = block->Text();
    // Atomic: a thread that was held up before this line may run into the request that gets the
    // same slot 256 requests later.
    std::atomic_ref<Char>(*text).store(0, std::memory_order_relaxed);
    return {text, block->capacity, index};
}

template <typename Char>
void TmpRing<Char>::UnblockInChild() noexcept {
    if (next_.load(std::memory_order_relaxed) > kRingSlots) {
        next_.store(0, std::memory_order_relaxed);
    }
}

template <typename Char>
void TmpRing<Char>::Clear() noexcept {
    for (auto& slot : slots_) {
        slot.store(nullptr, std::memory_order_relaxed);
    }
}

template <typename Char>
void TmpRing<Char>::Free() noexcept {
    for (auto& slot : slots_) {
        Block* block = slot.load(std::memory_order_acquire);
        while (block != nullptr) {
            Block* older = block->older;
            allocation::ProcessFree(block);
            block = older;
        }
    }
}

template <typename Char>
constinit TmpRing<Char> ring;

}  // namespace

template <typename Char>
Char* RequestTmpString(std::uint32_t count) noexcept {
    return count == 0 || count > kMaxRingText ? nullptr : ring<Char>.Request(count).text;
}

template <typename Char>
TmpSlot<Char> RequestTmpSlot(std::uint32_t count) noexcept {
    return ring<Char>.Request(count);
}

template <typename Char>
Char* GrowTmpSlot(const TmpSlot<Char>& slot, std::uint32_t count) noexcept {
    return ring<Char>.Grow(slot.index, count);
}

template char* RequestTmpString(std::uint32_t) noexcept;
template wchar_t* RequestTmpString(std::uint32_t) noexcept;
template TmpSlot<char> RequestTmpSlot(std::uint32_t) noexcept;
template TmpSlot<wchar_t> RequestTmpSlot(std::uint32_t) noexcept;
template char* GrowTmpSlot(const TmpSlot<char>&, std::uint32_t) noexcept;
template wchar_t* GrowTmpSlot(const TmpSlot<wchar_t>&, std::uint32_t) noexcept;

void ClearRings() noexcept {
    ring<char>.Clear();
    ring<wchar_t>.Clear();
}

void UnblockRingsInChild() noexcept {
    ring<char>.UnblockInChild();
    ring<wchar_t>.UnblockInChild();
}

void FreeRings() noexcept {
    ring<char>.Free();
    ring<wchar_t>.Free();
}

}  // namespace ZTK::frame

namespace ZTK {
namespace {

template <typename Char>
unsigned int GetTmpString(Char*& text, unsigned int count) noexcept {
    Char* const slot = frame::RequestTmpString<Char>(count);
    if (slot == nullptr) {
        return 0;
    }
    text = slot;
    return 1;
}

}  // namespace

unsigned int ZTKGetTmpString(char*& text, unsigned int count) noexcept {
    return GetTmpString(text, count);
}

unsigned int ZTKGetTmpString(wchar_t*& text, unsigned int count) noexcept {
    return GetTmpString(text, count);
}

}  // namespace ZTK
