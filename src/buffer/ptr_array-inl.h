// The operations of the pointer array. Included where an array is used, never by hosts.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include "platform/large_block.h"
#include "platform/memory/allocation.h"
#include "ztk/memory.h"
#include "ztk/ptr_array.h"

namespace ZTK::buffer {

// Releases what a record owns: a text on the process heap, an object by its own delete. Plain
// values own nothing.
inline void ReleaseOwned(char* text) noexcept {
    StrFree(text);
}
inline void ReleaseOwned(wchar_t* text) noexcept {
    StrFree(text);
}
inline void ReleaseOwned(std::int64_t) noexcept {}
template <class Object>
void ReleaseOwned(Object* object) noexcept {
    delete object;
}

// The slots to ask memory for when an array has this capacity: itself, or with many slots a round
// number above it. Capacities grow in small steps, and a large array must not be moved at each.
inline std::int64_t SlotRoom(int capacity) noexcept {
    constexpr int kExact = 4096;
    if (capacity <= kExact) {
        return capacity;
    }
    const std::int64_t step = std::bit_floor(static_cast<unsigned>(capacity)) / 4;
    return (capacity + step - 1) / step * step;
}

}  // namespace ZTK::buffer

namespace ZTK {

// A block is a header and, behind it, room for its records, which are taken from the back.
template <class V>
struct CPtrArray<V>::Block {
    Block* older;
    alignas(Item) unsigned char records[sizeof(Item)];

    static constexpr std::size_t Bytes(int count) noexcept {
        return offsetof(Block, records) + sizeof(Item) * static_cast<std::size_t>(count);
    }
    void* Room(int index) noexcept { return reinterpret_cast<unsigned char*>(this) + Bytes(index); }
};

// Raises the capacity to wanted slots.
template <class V>
[[gnu::noinline]] bool CPtrArray<V>::GrowSlots(int wanted) noexcept {
    const std::int64_t room = buffer::SlotRoom(wanted);
    if (slots_ == nullptr || room != buffer::SlotRoom(capacity_)) {
        const std::uint64_t bytes = static_cast<std::uint64_t>(room) * sizeof(Item*);
        // Both fill with zero, so the new slots are null.
        void* const grown = slots_ == nullptr ? MemAlloc(bytes) : MemRealloc(slots_, bytes);
        if (grown == nullptr) {
            return false;
        }
        slots_ = static_cast<Item**>(grown);
    }
    capacity_ = wanted;
    return true;
}

template <class V>
[[gnu::noinline]] bool CPtrArray<V>::AddBlock(int size) noexcept {
    void* const memory = allocation::RuntimeAlloc(Block::Bytes(size));
    if (memory == nullptr) {
        return false;
    }
    ExpectLargeBlockFilled(memory, Block::Bytes(size));
    Block* const block = ::new (memory) Block;
    block->older = blocks_;
    blocks_ = block;
    spare_ = size;
    return true;
}

template <class V>
void CPtrArray<V>::Reserve(int count) noexcept {
    if (slots_ != nullptr || count <= grow_by_ ||
        count > std::numeric_limits<int>::max() - 2 * grow_by_) {
        return;
    }
    // One slot more than there are records is wanted, see Append.
    if (GrowSlots((count / grow_by_ + 1) * grow_by_)) {
        (void)AddBlock(count);  // without it records come in smaller blocks
    }
}

template <class V>
TArrayItem<V>* CPtrArray<V>::NewRecord() noexcept {
    // Few records for a short list, and for a long one few blocks.
    constexpr int kFewest = 4;
    constexpr int kMost = 4096;
    if (spare_ == 0 && !AddBlock(std::clamp(count_, kFewest, kMost))) {
        return nullptr;
    }
    --spare_;
    return ::new (blocks_->Room(spare_)) Item;
}

// Makes sure that there is a slot for one more, and tries to give it a record if it has none.
template <class V>
[[gnu::noinline]] bool CPtrArray<V>::FillSlot() noexcept {
    // The slot behind the new one is wanted too, so a refused growth leaves one slot to use up.
    if (count_ >= capacity_ - 1) {
        const bool grown = capacity_ <= std::numeric_limits<int>::max() - grow_by_ &&
                           GrowSlots(capacity_ + grow_by_);
        if (!grown && count_ >= capacity_) {
            return false;
        }
    }
    if (slots_[count_] == nullptr) {
        slots_[count_] = NewRecord();
        if (slots_[count_] != nullptr) {
            slots_[count_]->owns = false;
        }
    }
    return true;
}

template <class V>
bool CPtrArray<V>::Append(V value, bool owns) noexcept {
    if ((count_ >= capacity_ - 1 || slots_[count_] == nullptr) && !FillSlot()) {
        return false;
    }
    Item* const record = slots_[count_];
    if (record != nullptr) {
        if (record->owns) {
            buffer::ReleaseOwned(record->value);
        }
        record->value = value;
        record->owns = owns;
    }
    sorted_ = false;
    ++count_;
    if (owns || owning_slots_ != 0) {
        owning_slots_ = std::max(owning_slots_, count_);
    }
    return true;
}

template <class V>
void CPtrArray<V>::Empty() noexcept {
    // Not only the first count_ slots: an earlier fill may have been longer.
    for (int i = 0; i < owning_slots_; ++i) {
        if (slots_[i] != nullptr && slots_[i]->owns) {
            buffer::ReleaseOwned(slots_[i]->value);
        }
    }
    while (blocks_ != nullptr) {
        Block* const block = blocks_;
        blocks_ = block->older;
        allocation::RuntimeFree(block);
    }
    MemFree(slots_);
    slots_ = nullptr;
    capacity_ = 0;
    count_ = 0;
    spare_ = 0;
    owning_slots_ = 0;
}

}  // namespace ZTK
