// First-in first-out queues of borrowed messages: the functions on MessageRing. Inline, since every
// received message passes through two of them.
#pragma once

#include <algorithm>

#include "platform/memory/allocation.h"
#include "ztk/messages.h"

namespace ZTK::net {

inline constexpr std::size_t kFirstCapacity = 16;

// Doubles the ring. False, with the ring unchanged, when memory is short.
inline bool Grow(MessageRing& ring) noexcept {
    const std::size_t capacity = ring.capacity == 0 ? kFirstCapacity : 2 * ring.capacity;
    if (capacity > static_cast<std::size_t>(-1) / sizeof(CSocketMsg*)) {
        return false;
    }
    auto** slots =
        static_cast<CSocketMsg**>(allocation::RuntimeAlloc(capacity * sizeof(CSocketMsg*)));
    if (slots == nullptr) {
        return false;
    }
    for (std::size_t i = 0; i < ring.length; ++i) {
        slots[i] = ring.slots[(ring.first + i) & (ring.capacity - 1)];
    }
    allocation::RuntimeFree(ring.slots);
    ring.slots = slots;
    ring.capacity = capacity;
    ring.first = 0;
    return true;
}

// Makes room for count more messages, so that as many calls of Append cannot fail.
inline bool Reserve(MessageRing& ring, std::size_t count) noexcept {
    while (ring.capacity - ring.length < count) {
        if (!Grow(ring)) {
            return false;
        }
    }
    return true;
}

// The same for one.
inline bool Reserve(MessageRing& ring) noexcept {
    return ring.length < ring.capacity || Grow(ring);
}

inline bool Append(MessageRing& ring, CSocketMsg* message) noexcept {
    if (!Reserve(ring)) {
        return false;
    }
    ring.slots[(ring.first + ring.length) & (ring.capacity - 1)] = message;
    ++ring.length;
    return true;
}

// The oldest message, or null.
inline CSocketMsg* Take(MessageRing& ring) noexcept {
    if (ring.length == 0) {
        return nullptr;
    }
    CSocketMsg* message = ring.slots[ring.first];
    ring.first = (ring.first + 1) & (ring.capacity - 1);
    --ring.length;
    return message;
}

// The oldest messages, up to most of them. Returns how many there were.
inline std::size_t Take(MessageRing& ring, CSocketMsg** messages, std::size_t most) noexcept {
    const std::size_t count = std::min(ring.length, most);
    // Up to the end of the storage, then from its begin.
    const std::size_t straight = std::min(count, ring.capacity - ring.first);
    std::copy_n(ring.slots + ring.first, straight, messages);
    std::copy_n(ring.slots, count - straight, messages + straight);
    ring.first = (ring.first + count) & (ring.capacity - 1);
    ring.length -= count;
    return count;
}

// Frees the ring's storage; the messages are not its own.
inline void Release(MessageRing& ring) noexcept {
    allocation::RuntimeFree(ring.slots);
    ring = MessageRing();
}

}  // namespace ZTK::net
