// The growable array of pointers to records that carries a buffer's lines and hits and a tag's
// attributes. Hosts meet it only as a member of the library's classes; its operations stay inside.
#pragma once

#include "ztk/platform.h"

namespace ZTK {

// What a slot points to: a value, and whether the record owns what the value points to. An owned
// value is released when the record is reused for another value or destroyed.
template <class V>
struct TArrayItem {
    V value;    // what the slot stands for
    bool owns;  // whether the record releases it
};

// Slots that point to records, and how many of them are in use. Numbers of slots are below 2^31.
//
// Ownership: the array owns its records. It has no destructor, because a copy is member-wise and
// shares slots and records with its source: the object that holds the array empties it, once.
//
// Thread-safety: an array is used by one thread at a time.
template <class V>
class CPtrArray {
  public:
    // A record of this array.
    using Item = TArrayItem<V>;

    // grow_by: the slots added at each growth.
    explicit CPtrArray(int grow_by) noexcept : grow_by_(grow_by) {}

    // Adds a record behind the last one and clears Sorted(). A record that an earlier fill left in
    // that slot is reused. Count() grows also when memory for the record is short: the slot then
    // stays null, and an owned value stays the caller's. Only when there is no memory for the slot
    // itself is nothing added, and the result false.
    [[nodiscard]] bool Append(V value, bool owns) noexcept;

    // Makes room for count records at once, unless the array has held some before. Only a hint:
    // when memory is short, or there are more, appending makes room as it goes.
    void Reserve(int count) noexcept;

    // Sets the count to 0. The records stay in their slots for the next fill.
    void Rewind() noexcept { count_ = 0; }

    // Releases all records, with what they own, and the slots. The array can be filled again;
    // Sorted() stays as it was.
    void Empty() noexcept;

    // The number of slots in use.
    [[nodiscard]] int Count() const noexcept { return count_; }

    // The record in slot i, or null. REQUIRES: 0 <= i < Count().
    [[nodiscard]] Item* At(int i) const noexcept { return slots_[i]; }

    // The first slot, for code that sorts the records by moving their pointers. Valid until the
    // next Append or Empty; null before the first Append.
    [[nodiscard]] Item** Slots() noexcept { return slots_; }

    // Whether the records are known to be in order: true for a new array, false after an Append.
    // Whoever sorts the records sets it.
    [[nodiscard]] bool Sorted() const noexcept { return sorted_; }
    void SetSorted(bool sorted) noexcept { sorted_ = sorted; }

  private:
    // Records are allocated in blocks, which are linked so that they can be released.
    struct Block;

    bool GrowSlots(int wanted) noexcept;
    bool FillSlot() noexcept;
    bool AddBlock(int size) noexcept;
    Item* NewRecord() noexcept;

    Item** slots_ = nullptr;  // on the process heap; null from the last record on
    int capacity_ = 0;
    int grow_by_;
    bool sorted_ = true;
    int count_ = 0;
    int spare_ = 0;            // records of *blocks_ that no slot has taken yet
    Block* blocks_ = nullptr;  // the newest first
    int owning_slots_ = 0;     // only in so many of the first slots a record may own its value
};

}  // namespace ZTK
