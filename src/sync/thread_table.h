// The table behind the thread registry.
#pragma once

#include "ztk/platform.h"

namespace ZTK::sync {

// What is known of one registered thread.
struct ThreadEntry {
    unsigned int id;
    HANDLE thread;  // may be null
    HANDLE notify;  // null if the event could not be made
    // Nobody else has the thread's handle: it is closed with the entry.
    bool is_sole_owner;
};

// Entries in ascending order of id. Owns none of their handles. Not thread-safe.
class ThreadTable {
  public:
    ThreadTable() = default;
    ThreadTable(const ThreadTable&) = delete;
    ThreadTable& operator=(const ThreadTable&) = delete;
    ~ThreadTable();

    // The entry of id, or null. Valid until the table is changed.
    [[nodiscard]] ThreadEntry* Find(unsigned int id) noexcept;

    // Makes room for one more entry, so that the next Insert does not fail. False when memory is
    // short.
    bool Reserve() noexcept;

    // False when memory is short. REQUIRES: the id is not in the table.
    bool Insert(const ThreadEntry& entry) noexcept;

    // REQUIRES: entry came from Find.
    void Erase(ThreadEntry* entry) noexcept;

    // Exchanges the contents of two tables.
    void Swap(ThreadTable& other) noexcept;

    [[nodiscard]] unsigned int size() const noexcept { return size_; }
    [[nodiscard]] const ThreadEntry* begin() const noexcept { return entries_; }
    [[nodiscard]] const ThreadEntry* end() const noexcept { return entries_ + size_; }

  private:
    ThreadEntry* LowerBound(unsigned int id) noexcept;

    ThreadEntry* entries_ = nullptr;
    unsigned int size_ = 0;
    unsigned int capacity_ = 0;
};

}  // namespace ZTK::sync
