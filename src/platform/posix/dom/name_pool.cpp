#include "platform/posix/dom/name_pool.h"

#include <cstring>

#include "platform/memory/allocation.h"
#include "platform/posix/text/text_hash.h"

namespace ZTKPosix::dom {

NamePool::~NamePool() {
    ZTK::allocation::RuntimeFree(slots_);
}

// The slot of that name, or the free one where it belongs. REQUIRES: capacity_ is not 0.
std::size_t NamePool::SlotOf(std::uint64_t hash, const wchar_t* text,
                             std::size_t length) const noexcept {
    std::size_t slot = hash & (capacity_ - 1);
    for (; slots_[slot] != nullptr; slot = (slot + 1) & (capacity_ - 1)) {
        const Name& name = *slots_[slot];
        if (name.hash == hash && name.length == length &&
            std::memcmp(name.Text(), text, length * sizeof(wchar_t)) == 0) {
            break;
        }
    }
    return slot;
}

bool NamePool::Grow() noexcept {
    const std::size_t capacity = capacity_ != 0 ? capacity_ * 2 : 32;
    auto** const slots =
        static_cast<Name**>(ZTK::allocation::RuntimeAlloc(capacity * sizeof(Name*)));
    if (slots == nullptr) {
        return false;
    }
    std::memset(slots, 0, capacity * sizeof(Name*));
    for (std::size_t old = 0; old < capacity_; ++old) {
        if (Name* name = slots_[old]; name != nullptr) {
            std::size_t slot = name->hash & (capacity - 1);
            while (slots[slot] != nullptr) {
                slot = (slot + 1) & (capacity - 1);
            }
            slots[slot] = name;
        }
    }
    ZTK::allocation::RuntimeFree(slots_);
    slots_ = slots;
    capacity_ = capacity;
    return true;
}

Name* NamePool::Intern(const wchar_t* text, std::size_t length) noexcept {
    if (count_ * 2 >= capacity_ && !Grow()) {
        return nullptr;
    }
    const std::uint64_t hash = HashText(text, length);
    const std::size_t slot = SlotOf(hash, text, length);
    if (slots_[slot] != nullptr) {
        return slots_[slot];
    }
    void* const storage = arena_.Allocate(sizeof(Name) + length * sizeof(wchar_t));
    if (storage == nullptr) {
        return nullptr;
    }
    auto* const name = static_cast<Name*>(storage);
    *name = {hash, static_cast<std::uint32_t>(length), 0};
    std::memcpy(name + 1, text, length * sizeof(wchar_t));
    slots_[slot] = name;
    ++count_;
    return name;
}

const Name* NamePool::Find(const wchar_t* text, std::size_t length) const noexcept {
    return capacity_ != 0 ? slots_[SlotOf(HashText(text, length), text, length)] : nullptr;
}

}  // namespace ZTKPosix::dom
