#include "sync/thread_table.h"

#include <algorithm>
#include <utility>

#include "platform/memory/allocation.h"

namespace ZTK::sync {

ThreadTable::~ThreadTable() {
    allocation::RuntimeFree(entries_);
}

ThreadEntry* ThreadTable::LowerBound(unsigned int id) noexcept {
    return std::lower_bound(
        entries_, entries_ + size_, id,
        [](const ThreadEntry& entry, unsigned int key) { return entry.id < key; });
}

ThreadEntry* ThreadTable::Find(unsigned int id) noexcept {
    ThreadEntry* entry = LowerBound(id);
    return entry != end() && entry->id == id ? entry : nullptr;
}

bool ThreadTable::Reserve() noexcept {
    if (size_ < capacity_) {
        return true;
    }
    const unsigned int larger = capacity_ == 0 ? 16 : capacity_ * 2;
    void* entries = allocation::RuntimeRealloc(entries_, larger * sizeof(ThreadEntry));
    if (entries == nullptr) {
        return false;
    }
    entries_ = static_cast<ThreadEntry*>(entries);
    capacity_ = larger;
    return true;
}

bool ThreadTable::Insert(const ThreadEntry& entry) noexcept {
    if (!Reserve()) {
        return false;
    }
    ThreadEntry* place = LowerBound(entry.id);
    std::move_backward(place, entries_ + size_, entries_ + size_ + 1);
    *place = entry;
    ++size_;
    return true;
}

void ThreadTable::Erase(ThreadEntry* entry) noexcept {
    std::move(entry + 1, entries_ + size_, entry);
    --size_;
}

void ThreadTable::Swap(ThreadTable& other) noexcept {
    std::swap(entries_, other.entries_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
}

}  // namespace ZTK::sync
