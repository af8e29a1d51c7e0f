// First-in first-out queues of borrowed messages: the functions on MessageRing. Inline, since every
// received message passes through two of them.
#pragma once

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

// Makes room for one more message, so that the next Append cannot fail.
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

// Frees the ring's storage; the messages are not its own.
inline void Release(MessageRing& ring) noexcept {
    allocation::RuntimeFree(ring.slots);
    ring = MessageRing();
}

}  // namespace ZTK::net
