#include "frame/base/tmp_ring.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <new>
#include <thread>

#include "frame/base/fatal.h"
#include "platform/memory/allocation.h"
#include "ztk/memory.h"

namespace ZTK::frame {

namespace {

constexpr std::int32_t kRingSlots = 256;

// The slot index for a caller that drew `drawn` from a ring's counter, and so the limit or more.
// Seen from one thread the indexes of a ring run 0, 1, ... limit - 1, 0, 1, ...
std::int32_t WrapTmpIndex(std::atomic<std::int32_t>& counter, std::int32_t drawn,
                          std::int32_t limit) noexcept {
    while (drawn > limit) {
        // Another caller is between drawing the limit and resetting the counter. Looking without
        // drawing keeps the counter from running away while that caller is not scheduled.
        while (counter.load() > limit) {
            std::this_thread::yield();
        }
        drawn = counter.fetch_add(1);
    }
    if (drawn < limit) {
        return drawn;
    }
    // Whoever draws the limit itself wraps the ring, also one that was waiting for a wrap: a drawn
    // limit that nobody acted on would leave every later caller waiting.
    counter.store(1);
    return 0;
}

// One ring of slots for texts of Char. Constant-initialized.
template <typename Char>
class TmpRing {
  public:
    // REQUIRES: 1 <= count <= kMaxRingText.
    TmpSlot<Char> Request(std::uint32_t count) noexcept;
    // REQUIRES: as above; index is one that Request gave.
    Char* Grow(std::int32_t index, std::uint32_t count) noexcept {
        return EnsureTmpSlot(slots_[index], count)->text;
    }

    void UnblockInChild() noexcept;
    void Clear() noexcept;
    void Free() noexcept;

  private:
    struct Block;

    // A slot nearly always has room already: that way saves no registers for the other.
    [[gnu::noinline, gnu::cold]] TmpSlot<Char> RequestSlowly(std::int32_t drawn,
                                                             std::uint32_t count) noexcept;
    static TmpSlot<Char> Handed(Block* block, std::int32_t index) noexcept;
    Block* EnsureTmpSlot(std::atomic<Block*>& slot, std::uint32_t count) noexcept;

    std::atomic<std::int32_t> next_{0};
    std::atomic<Block*> slots_[kRingSlots] = {};
};

// A slot's text. A thread that was held up between its request and its last write must still write
// into memory, so no block is freed before the library is unloaded. The blocks that a slot has
// outgrown are linked through `older`.
//
// There are few of those: a slot begins with a small block and has one of medium size next, and the
// third has address space for the longest text and fills with memory where it stands, as far as a
// text has asked for. So a ring holds what its 256 longest texts need, and small blocks besides.
// Only where there is no such space do blocks go on doubling.
template <typename Char>
struct TmpRing<Char>::Block {
    Block* older;
    Char* text;                           // behind the block, or in its space
    std::atomic<std::uint32_t> capacity;  // characters; grows if there is a space, not otherwise

    [[nodiscard]] bool HasSpace() const noexcept {
        return text != reinterpret_cast<const Char*>(this + 1);
    }

    [[nodiscard]] bool HasRoomFor(std::uint32_t count) const noexcept {
        return capacity.load(std::memory_order_acquire) >= count;
    }

    // False if the space cannot be filled, or if there is none to fill.
    bool Fill(std::uint32_t count) noexcept;

    static Block* Create(std::uint32_t count, Block* older) noexcept;
    static void Free(Block* block) noexcept;

  private:
    static constexpr std::uint32_t kSmall = 64, kMedium = 1024;  // characters
    static constexpr std::size_t kSpace = kMaxRingText * sizeof(Char);

    static Block* Allocate(std::size_t text_bytes, Block* older) noexcept;
    static Block* CreateInSpace(std::uint32_t count, Block* older) noexcept;
    static Block* CreateOnHeap(std::uint32_t count, Block* older) noexcept;
};

template <typename Char>
auto TmpRing<Char>::Block::Allocate(std::size_t text_bytes, Block* older) noexcept -> Block* {
    void* const memory = allocation::ProcessAlloc(sizeof(Block) + text_bytes);
    if (memory == nullptr) {
        Fatal("Out of memory for a temporary string.");
    }
    auto* const block = ::new (memory) Block{older, nullptr, 0};
    block->text = reinterpret_cast<Char*>(block + 1);
    return block;
}

template <typename Char>
auto TmpRing<Char>::Block::CreateOnHeap(std::uint32_t count, Block* older) noexcept -> Block* {
    const std::uint32_t capacity = count <= kSmall ? kSmall
                                   : count <= kMedium
                                       ? kMedium
                                       : std::min(std::bit_ceil(count), kMaxRingText);
    Block* const block = Allocate(capacity * sizeof(Char), older);
    block->capacity.store(capacity, std::memory_order_relaxed);
    return block;
}

template <typename Char>
auto TmpRing<Char>::Block::CreateInSpace(std::uint32_t count, Block* older) noexcept -> Block* {
    void* const space = allocation::ReserveSpace(kSpace);
    if (space == nullptr) {
        return nullptr;
    }
    Block* const block = Allocate(0, older);
    block->text = static_cast<Char*>(space);
    if (!block->Fill(count)) {
        Free(block);
        return nullptr;
    }
    return block;
}

template <typename Char>
auto TmpRing<Char>::Block::Create(std::uint32_t count, Block* older) noexcept -> Block* {
    Block* block = count > kMedium ? CreateInSpace(count, older) : nullptr;
    if (block == nullptr) {
        block = CreateOnHeap(count, older);
    }
    if (older != nullptr) {
        // The text of the slot's earlier user stays readable behind the first character. Another
        // thread may just be filling the older block's space further than this one needs.
        const std::uint32_t kept = std::min(older->capacity.load(), block->capacity.load());
        std::memcpy(block->text, older->text, kept * sizeof(Char));
    }
    return block;
}

template <typename Char>
bool TmpRing<Char>::Block::Fill(std::uint32_t count) noexcept {
    const std::uint32_t filled = std::min(std::bit_ceil(count), kMaxRingText);
    if (!HasSpace() || !allocation::FillSpace(text, filled * sizeof(Char))) {
        return false;
    }
    std::uint32_t seen = capacity.load(std::memory_order_relaxed);
    while (seen < filled && !capacity.compare_exchange_weak(seen, filled)) {
    }
    return true;
}

template <typename Char>
void TmpRing<Char>::Block::Free(Block* block) noexcept {
    if (block->HasSpace()) {
        allocation::FreeSpace(block->text, kSpace);
    }
    allocation::ProcessFree(block);
}

template <typename Char>
auto TmpRing<Char>::EnsureTmpSlot(std::atomic<Block*>& slot, std::uint32_t count) noexcept
    -> Block* {
    Block* block = slot.load(std::memory_order_acquire);
    while (block == nullptr || !block->HasRoomFor(count)) {
        if (block != nullptr && block->Fill(count)) {
            return block;
        }
        Block* larger = Block::Create(count, block);
        if (slot.compare_exchange_strong(block, larger, std::memory_order_acq_rel)) {
            return larger;
        }
        Block::Free(larger);  // another thread grew the slot first; look at its block
    }
    return block;
}

template <typename Char>
TmpSlot<Char> TmpRing<Char>::Handed(Block* block, std::int32_t index) noexcept {
    Char* const text = block->text;
    // Atomic: a thread that was held up before this line may run into the request that gets the
    // same slot 256 requests later.
    std::atomic_ref<Char>(*text).store(0, std::memory_order_relaxed);
    return {text, block->capacity.load(std::memory_order_relaxed), index};
}

template <typename Char>
TmpSlot<Char> TmpRing<Char>::Request(std::uint32_t count) noexcept {
    const std::int32_t drawn = next_.fetch_add(1);
    if (drawn < kRingSlots) [[likely]] {
        Block* const block = slots_[drawn].load(std::memory_order_acquire);
        if (block != nullptr && block->HasRoomFor(count)) [[likely]] {
            return Handed(block, drawn);
        }
    }
    return RequestSlowly(drawn, count);
}

template <typename Char>
TmpSlot<Char> TmpRing<Char>::RequestSlowly(std::int32_t drawn, std::uint32_t count) noexcept {
    const std::int32_t index = drawn < kRingSlots ? drawn : WrapTmpIndex(next_, drawn, kRingSlots);
    return Handed(EnsureTmpSlot(slots_[index], count), index);
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
            Block::Free(block);
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
