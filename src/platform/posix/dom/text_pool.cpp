#include "platform/posix/dom/text_pool.h"

#include <cstring>

#include "platform/memory/allocation.h"
#include "platform/posix/text/text_hash.h"

namespace ZTKPosix::dom {

TextPoolBase::~TextPoolBase() {
    ZTK::allocation::RuntimeFree(slots_);
}

// The slot of that text, or the free one where it belongs. REQUIRES: capacity_ is not 0.
std::size_t TextPoolBase::SlotOf(std::uint64_t hash, const wchar_t* text,
                                 std::size_t length) const noexcept {
    std::size_t slot = hash & (capacity_ - 1);
    for (; slots_[slot] != nullptr; slot = (slot + 1) & (capacity_ - 1)) {
        const PooledText& known = *slots_[slot];
        if (known.hash == hash && known.length == length &&
            std::memcmp(reinterpret_cast<const char*>(&known) + entry_bytes_, text,
                        length * sizeof(wchar_t)) == 0) {
            break;
        }
    }
    return slot;
}

bool TextPoolBase::Grow() noexcept {
    const std::size_t capacity = capacity_ != 0 ? capacity_ * 2 : 32;
    auto** const slots =
        static_cast<PooledText**>(ZTK::allocation::RuntimeAlloc(capacity * sizeof(PooledText*)));
    if (slots == nullptr) {
        return false;
    }
    std::memset(slots, 0, capacity * sizeof(PooledText*));
    for (std::size_t old = 0; old < capacity_; ++old) {
        if (PooledText* const entry = slots_[old]; entry != nullptr) {
            std::size_t slot = entry->hash & (capacity - 1);
            while (slots[slot] != nullptr) {
                slot = (slot + 1) & (capacity - 1);
            }
            slots[slot] = entry;
        }
    }
    ZTK::allocation::RuntimeFree(slots_);
    slots_ = slots;
    capacity_ = capacity;
    return true;
}

PooledText* TextPoolBase::Intern(const wchar_t* text, std::size_t length) noexcept {
    if (count_ * 2 >= capacity_ && !Grow()) {
        return nullptr;
    }
    const std::uint64_t hash = HashText(text, length);
    const std::size_t slot = SlotOf(hash, text, length);
    if (slots_[slot] != nullptr) {
        return slots_[slot];
    }
    void* const storage = arena_.Allocate(entry_bytes_ + length * sizeof(wchar_t));
    if (storage == nullptr) {
        return nullptr;
    }
    std::memset(storage, 0, entry_bytes_);
    std::memcpy(static_cast<char*>(storage) + entry_bytes_, text, length * sizeof(wchar_t));
    auto* const entry = static_cast<PooledText*>(storage);
    *entry = {hash, static_cast<std::uint32_t>(length)};
    slots_[slot] = entry;
    ++count_;
    characters_ += length;
    return entry;
}

PooledText* TextPoolBase::Find(const wchar_t* text, std::size_t length) const noexcept {
    return capacity_ != 0 ? slots_[SlotOf(HashText(text, length), text, length)] : nullptr;
}

}  // namespace ZTKPosix::dom
