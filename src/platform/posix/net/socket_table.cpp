#include "platform/posix/net/socket_table.h"

#include <unistd.h>

#include <cerrno>
#include <new>

#include "platform/memory/allocation.h"
#include "platform/posix/net/socket_error_map.h"

namespace ZTKPosix {

namespace {

static_assert(sizeof(SOCKET) == 8,
              "a socket handle holds a generation and a descriptor, 32 bits each");
static_assert(sizeof(SocketSlot) == 64);

// The low half of a slot's word: whether the socket is open to new calls, and the threads inside. A
// slot that is neither open nor entered is free; its generation stays, so that old handles do not
// match.
constexpr std::uint64_t kOpen = std::uint64_t{1} << 31;
constexpr std::uint64_t kUsers = kOpen - 1;
constexpr int kGenerationShift = 32;

constexpr int kSlotsPerChunk = 64;
constexpr int kChunks = 16384;  // for about a million descriptors, the system's usual limit
constexpr int kMaxDescriptors = kSlotsPerChunk * kChunks;

struct Chunk {
    SocketSlot slots[kSlotsPerChunk];
};

constinit std::atomic<int> g_starts{0};

// A chunk, once made, stays until the library is unloaded.
constinit std::atomic<Chunk*> g_chunks[kChunks] = {};

SocketSlot* FindSlot(std::uint64_t descriptor) noexcept {
    if (descriptor >= kMaxDescriptors) {
        return nullptr;
    }
    Chunk* chunk = g_chunks[descriptor / kSlotsPerChunk].load(std::memory_order_acquire);
    return chunk == nullptr ? nullptr : &chunk->slots[descriptor % kSlotsPerChunk];
}

// The slot of descriptor, in a chunk made for it if need be; null when memory is short or the
// number too high.
SocketSlot* MakeSlot(int descriptor) noexcept ZTK_REQUIRES(socket_table_lock) {
    if (descriptor >= kMaxDescriptors) {
        return nullptr;
    }
    std::atomic<Chunk*>& place = g_chunks[descriptor / kSlotsPerChunk];
    if (place.load(std::memory_order_relaxed) == nullptr) {
        void* memory = ZTK::allocation::RuntimeAlloc(sizeof(Chunk));
        if (memory == nullptr) {
            return nullptr;
        }
        place.store(new (memory) Chunk(), std::memory_order_release);
    }
    return FindSlot(static_cast<std::uint64_t>(descriptor));
}

bool IsOpenAs(std::uint64_t state, SOCKET socket) noexcept {
    return (state >> kGenerationShift) == (socket >> kGenerationShift) && (state & kOpen) != 0;
}

std::uint64_t DescriptorOf(SOCKET socket) noexcept {
    return socket & 0xFFFFFFFF;
}

int FailBadHandle() noexcept {
    return RequireSocketsStarted() ? FailSocket(WSAENOTSOCK) : SOCKET_ERROR;
}

void Leave(SocketSlot* slot, int descriptor) noexcept {
    const std::uint64_t before = slot->state.fetch_sub(1, std::memory_order_acq_rel);
    if ((before & (kOpen | kUsers)) == 1) {
        // The slot is free as of now. Only after this close can the system give the number out
        // again. Its result tells nothing: the number is free even after a failure.
        (void)::close(descriptor);
    }
}

// Ends the system calls that other threads are blocked in on a socket that was just closed. A
// socket that is set to be aborted (linger for no time) has to reach the peer as a reset, so it is
// disconnected before shutting it down can send an orderly end. Where the system refuses that while
// threads wait, the peer sees an orderly end. Where it refuses the shutting down (a filter of
// system calls may), disconnecting is what is left to wake the threads.
void WakeUsers(int descriptor) noexcept {
    linger option{};
    socklen_t length = sizeof(option);
    if (::getsockopt(descriptor, SOL_SOCKET, SO_LINGER, &option, &length) == 0 &&
        option.l_onoff != 0 && option.l_linger == 0) {
        (void)Disconnect(descriptor);  // refused: see above
    }
    // On a socket without a connection it reports a failure, but wakes the threads all the same.
    if (::shutdown(descriptor, SHUT_RDWR) != 0 && errno != ENOTCONN) {
        (void)Disconnect(descriptor);  // there is nothing else to try
    }
}

// The lock is held so that no socket is adopted meanwhile.
void CloseAllSockets() noexcept ZTK_REQUIRES(socket_table_lock) {
    for (int descriptor = 0; descriptor < kMaxDescriptors; ++descriptor) {
        SocketSlot* slot = FindSlot(static_cast<std::uint64_t>(descriptor));
        if (slot == nullptr) {
            descriptor += kSlotsPerChunk - 1;  // no chunk: on to the next one
            continue;
        }
        const std::uint64_t state = slot->state.load(std::memory_order_acquire);
        if ((state & kOpen) != 0) {
            // Fails if another thread has just closed it: then nothing is left to do.
            (void)CloseSocket((state >> kGenerationShift << kGenerationShift) |
                              static_cast<SOCKET>(descriptor));
        }
    }
}

bool HasUsers(const Chunk& chunk) noexcept {
    for (const SocketSlot& slot : chunk.slots) {
        if ((slot.state.load(std::memory_order_acquire) & kUsers) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

SocketUse::SocketUse(SOCKET socket) noexcept {
    SocketSlot* slot = FindSlot(DescriptorOf(socket));
    if (slot != nullptr) {
        std::uint64_t state = slot->state.load(std::memory_order_relaxed);
        while (IsOpenAs(state, socket)) {
            if (slot->state.compare_exchange_weak(state, state + 1, std::memory_order_acq_rel,
                                                  std::memory_order_relaxed)) {
                slot_ = slot;
                descriptor_ = static_cast<int>(DescriptorOf(socket));
                return;
            }
        }
    }
    (void)FailBadHandle();  // for the last error; whether the use is open tells the rest
}

SocketUse::~SocketUse() {
    if (slot_ != nullptr) {
        Leave(slot_, descriptor_);
    }
}

bool SocketUse::WasClosed() const noexcept {
    return (slot_->state.load(std::memory_order_acquire) & kOpen) == 0;
}

bool SocketUse::IsShared() const noexcept {
    return (slot_->state.load(std::memory_order_acquire) & kUsers) > 1;
}

SOCKET AdoptDescriptor(int descriptor, std::uint32_t flags) noexcept {
    const LockGuard guard(socket_table_lock);
    SocketSlot* slot = g_starts == 0 ? nullptr : MakeSlot(descriptor);
    if (slot == nullptr) {
        (void)::close(descriptor);  // its result tells nothing, as in Leave
        WSASetLastError(g_starts == 0 ? WSANOTINITIALISED : WSAENOBUFS);
        return INVALID_SOCKET;
    }
    // Nobody is inside: the system gives a number out again only after the last user has closed it.
    const std::uint64_t old = slot->state.load(std::memory_order_acquire) >> kGenerationShift;
    const std::uint64_t generation = old == 0xFFFFFFFF ? 1 : old + 1;  // never 0, so no handle is 0
    slot->flags.store(flags, std::memory_order_relaxed);
    slot->end_code.store(0, std::memory_order_relaxed);
    slot->state.store(generation << kGenerationShift | kOpen, std::memory_order_release);
    return static_cast<SOCKET>(generation << kGenerationShift) | static_cast<SOCKET>(descriptor);
}

int CloseSocket(SOCKET socket) noexcept {
    SocketSlot* slot = FindSlot(DescriptorOf(socket));
    if (slot == nullptr) {
        return FailBadHandle();
    }
    const int descriptor = static_cast<int>(DescriptorOf(socket));
    std::uint64_t state = slot->state.load(std::memory_order_relaxed);
    do {
        if (!IsOpenAs(state, socket)) {
            return FailBadHandle();
        }
        // Closing counts as a user itself, so that the descriptor stays valid while others are
        // woken.
    } while (!slot->state.compare_exchange_weak(
        state, (state & ~kOpen) + 1, std::memory_order_acq_rel, std::memory_order_relaxed));
    if ((state & kUsers) != 0) {
        WakeUsers(descriptor);
    }
    Leave(slot, descriptor);
    return 0;
}

bool Disconnect(int descriptor) noexcept {
    sockaddr none{};
    none.sa_family = AF_UNSPEC;
    return ::connect(descriptor, &none, sizeof(none)) == 0;
}

bool RequireSocketsStarted() noexcept {
    // Without the lock: the closing of all sockets comes here while it holds it.
    if (g_starts == 0) {
        WSASetLastError(WSANOTINITIALISED);
        return false;
    }
    return true;
}

void CountStart() noexcept {
    const LockGuard guard(socket_table_lock);
    ++g_starts;
}

bool CountCleanup() noexcept {
    const LockGuard guard(socket_table_lock);
    if (g_starts == 0) {
        WSASetLastError(WSANOTINITIALISED);
        return false;
    }
    if (--g_starts == 0) {
        CloseAllSockets();
    }
    return true;
}

void LeaveForOtherThreadsInChild() noexcept {
    for (int descriptor = 0; descriptor < kMaxDescriptors; ++descriptor) {
        SocketSlot* slot = FindSlot(static_cast<std::uint64_t>(descriptor));
        if (slot == nullptr) {
            descriptor += kSlotsPerChunk - 1;  // no chunk: on to the next one
            continue;
        }
        const std::uint64_t before = slot->state.fetch_and(~kUsers, std::memory_order_relaxed);
        if ((before & kOpen) == 0 && (before & kUsers) != 0) {
            (void)::close(descriptor);  // its result tells nothing, as in Leave
        }
    }
}

void TearDownSockets() noexcept {
    const LockGuard guard(socket_table_lock);
    g_starts = 0;
    CloseAllSockets();
    for (std::atomic<Chunk*>& place : g_chunks) {
        Chunk* chunk = place.load(std::memory_order_acquire);
        // A thread that has not yet left its call still needs its slot: that chunk is not freed.
        if (chunk != nullptr && !HasUsers(*chunk)) {
            place.store(nullptr, std::memory_order_relaxed);
            ZTK::allocation::RuntimeFree(chunk);
        }
    }
}

}  // namespace ZTKPosix
