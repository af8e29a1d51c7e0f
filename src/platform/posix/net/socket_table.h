// The table behind socket handles.
//
// A handle is {generation, descriptor}. Each descriptor number has one slot, and the slot's word
// says whether a socket of which generation is open there and how many threads are inside a call on
// it. A call enters the slot, makes its system call and leaves. Closing bars new entries and wakes
// the threads inside; the last of them to leave closes the descriptor, so its number cannot be
// given to another file while a thread is still about to use it.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/posix/kernel/lock/lock.h"
#include "ztk/platform.h"

namespace ZTKPosix {

// Taken to change the start count, to make chunks, to adopt descriptors and to close all sockets.
// Calls on sockets do not take it: what they read is atomic.
inline constinit Lock socket_table_lock;

// What the layer knows about an open socket beyond what the system does.
enum SocketFlags : std::uint32_t {
    kSocketNonBlocking = 1u << 0,
    kSocketIPv6 = 1u << 1,
    kSocketStream = 1u << 2,
    kSocketListening = 1u << 3,
    kSocketHadPeer = 1u << 4,          // connected or connecting at some time
    kSocketReceiveShutDown = 1u << 5,  // by this side
    kSocketSendShutDown = 1u << 6,     // by this side
    kSocketHostReuse = 1u << 7,        // the host asked for SO_REUSEADDR
};

struct SocketSlot {
    std::atomic<std::uint64_t> state{
        0};  // generation in the high half, then the bits of socket_table.cpp
    std::atomic<std::uint32_t> flags{0};  // SocketFlags
    std::atomic<int> end_code{0};  // of what ended the connection, once a call was told; or 0
    // Keeps sockets that different threads use off each other's cache lines.
    unsigned char padding[64 - sizeof(std::atomic<std::uint64_t>) -
                          sizeof(std::atomic<std::uint32_t>) - sizeof(std::atomic<int>)];
};

// One call's stay in a socket's slot. Not open: the last error is set, WSANOTINITIALISED before
// WSAStartup, else WSAENOTSOCK.
class SocketUse {
  public:
    explicit SocketUse(SOCKET socket) noexcept;
    ~SocketUse();
    SocketUse(const SocketUse&) = delete;
    SocketUse& operator=(const SocketUse&) = delete;

    explicit operator bool() const noexcept { return slot_ != nullptr; }
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

    // Whether closesocket was called on this socket after the call had entered.
    [[nodiscard]] bool WasClosed() const noexcept;

    // Whether another thread is inside a call on this socket now.
    [[nodiscard]] bool IsShared() const noexcept;

    [[nodiscard]] std::uint32_t flags() const noexcept {
        return slot_->flags.load(std::memory_order_acquire);
    }
    [[nodiscard]] bool Has(std::uint32_t flag) const noexcept { return (flags() & flag) != 0; }
    void Set(std::uint32_t mask) noexcept {
        slot_->flags.fetch_or(mask, std::memory_order_acq_rel);
    }
    void Clear(std::uint32_t mask) noexcept {
        slot_->flags.fetch_and(~mask, std::memory_order_acq_rel);
    }

    // What ended the connection: see connection_end.h, which decides.
    [[nodiscard]] int end_code() const noexcept {
        return slot_->end_code.load(std::memory_order_acquire);
    }
    void SetEndCode(int code) noexcept { slot_->end_code.store(code, std::memory_order_release); }
    // Returns the code that there is then.
    int SetEndCodeIfNone(int code) noexcept {
        int known = 0;
        return slot_->end_code.compare_exchange_strong(known, code, std::memory_order_acq_rel)
                   ? code
                   : known;
    }

  private:
    SocketSlot* slot_ = nullptr;
    int descriptor_ = -1;
};

// Makes a handle for a new descriptor and takes it over; on failure the descriptor is closed, the
// last error set (WSANOTINITIALISED without a start, WSAENOBUFS when the table cannot take it) and
// the result INVALID_SOCKET.
SOCKET AdoptDescriptor(int descriptor, std::uint32_t flags) noexcept;

// Closes a handle: 0, or SOCKET_ERROR as SocketUse says.
int CloseSocket(SOCKET socket) noexcept;

// Takes the connection off a descriptor without an orderly end, and its attempt to connect. False
// where the system refuses that.
bool Disconnect(int descriptor) noexcept;

// Counts one more start of the sockets.
void CountStart() noexcept;

// Counts one start less; the last one closes every socket that is still open. False with last error
// WSANOTINITIALISED when there is none to take back.
bool CountCleanup() noexcept;

// Whether WSAStartup is in force. False sets the last error WSANOTINITIALISED.
bool RequireSocketsStarted() noexcept;

// In a child of fork: ends the stay of the parent's other threads, which are not there, in the
// slots.
void LeaveForOtherThreadsInChild() noexcept;

// Closes the sockets that are still open and frees their table. For the unloading of the library.
void TearDownSockets() noexcept;

}  // namespace ZTKPosix
