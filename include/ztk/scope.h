// Owners and guards that give back at the end of a scope what they hold.
//
//     ZTK::COwnedHandle arrived(CreateEventW(nullptr, FALSE, FALSE, nullptr));
//     ZTK::CMemPtr<wchar_t> copy(ZTK::StrDupW(name));
//     if (!arrived || !copy) { ... memory is short ... }
//     {
//         const ZTK::CLockGuard guard(lock);
//         ...
//     }
//
// All of it is compiled into the host; none of it is exported. What has a counterpart in the
// standard library has that one's names (get, reset, lock, ...).
//
// Thread-safety: an owner, a guard or a wrapper is used by one thread at a time; the lock behind
// the last two by any number.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "ztk/memory.h"
#include "ztk/platform.h"
#include "ztk/platform/thread_annotations.h"
#include "ztk/sync.h"

namespace ZTK {

// Owns an event, mutex, thread or file handle, and closes it with CloseHandle. Null and
// INVALID_HANDLE_VALUE are no handles: an owner that was given one of them is empty and closes
// nothing. (GetCurrentProcess(), which has the value of the latter, needs no owner.)
//
// Errors: what CloseHandle returns is not told. Sockets are closed with closesocket, and what
// CClientSocket::Receive returns stays open while that thread runs: it is for an owner only when
// the thread has ended.
class COwnedHandle {
  public:
    // Empty; or takes a handle over.
    COwnedHandle() noexcept = default;
    explicit COwnedHandle(HANDLE handle) noexcept : handle_(handle) {}

    COwnedHandle(const COwnedHandle&) = delete;
    COwnedHandle& operator=(const COwnedHandle&) = delete;

    // Takes over what the other one held, which is empty then. An assignment closes first what this
    // one held; one to itself changes nothing.
    COwnedHandle(COwnedHandle&& other) noexcept : handle_(other.release()) {}
    COwnedHandle& operator=(COwnedHandle&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }

    // Closes the handle.
    ~COwnedHandle() { reset(); }

    // Whether it holds a handle.
    [[nodiscard]] explicit operator bool() const noexcept { return get() != nullptr; }

    // The handle, which stays the owner's; null when it is empty.
    [[nodiscard]] HANDLE get() const noexcept {
        return handle_ == INVALID_HANDLE_VALUE ? nullptr : handle_;
    }

    // Gives the handle up, for the caller to close; null when it was empty.
    [[nodiscard]] HANDLE release() noexcept {
        const HANDLE handle = get();
        handle_ = nullptr;
        return handle;
    }

    // Closes what it holds and takes handle over. REQUIRES: handle is not the one that it holds.
    void reset(HANDLE handle = nullptr) noexcept {
        const HANDLE old = release();
        handle_ = handle;
        if (old != nullptr) {
            (void)CloseHandle(old);  // an owner has nobody to tell
        }
    }

    // Closes what it holds and gives the place for a call to store a handle in, which it then owns:
    // DuplicateHandle(self, source, self, copy.put(), ...). Valid as long as the owner.
    [[nodiscard]] HANDLE* put() noexcept {
        reset();
        return &handle_;
    }

  private:
    HANDLE handle_ = nullptr;
};

// Gives blocks back with MemFree. Nothing in them is destroyed, so what has a destructor is
// refused.
struct CMemDelete {
    // Null is ignored.
    template <class T>
    void operator()(T* block) const noexcept {
        if constexpr (!std::is_void_v<T>) {
            static_assert(std::is_trivially_destructible_v<T>, "MemFree runs no destructor");
        }
        MemFree(const_cast<void*>(static_cast<const volatile void*>(block)));
    }
};

// Owns a block of the process heap: what MemAlloc, StrDupW and Base64Encode return, or what
// GetHostAddress stores.
//
//     ZTK::CMemPtr<wchar_t> name(ZTK::StrDupW(text));
//     ZTK::CMemPtr<unsigned char[]> room(static_cast<unsigned char*>(ZTK::MemAlloc(4096)));
template <class T>
using CMemPtr = std::unique_ptr<T, CMemDelete>;

// Holds one level of a CLock for a scope. The lock must outlive it.
class ZTK_SCOPED_CAPABILITY CLockGuard {
  public:
    // Waits for the lock.
    explicit CLockGuard(CLock& lock) noexcept ZTK_ACQUIRE(lock) : lock_(lock) { lock_.Lock(); }
    CLockGuard(const CLockGuard&) = delete;
    CLockGuard& operator=(const CLockGuard&) = delete;

    // Releases the level.
    ~CLockGuard() ZTK_RELEASE() { lock_.Unlock(); }

  private:
    CLock& lock_;
};

// Shows a CLock as the standard library's lock types want it, for std::unique_lock, a
// std::scoped_lock of one, and std::condition_variable_any. The lock must outlive it, and it its
// users.
//
//     ZTK::CBasicLockable lockable(lock);
//     std::unique_lock<ZTK::CBasicLockable> held(lockable);
//     changed.wait(held, [&] { return ready; });  // with one level of the lock held, not more
//
// There is no try_lock, because a CLock cannot be tried; so a std::scoped_lock of several does not
// compile. clang's thread-safety analysis does not see through the standard library's types: where
// it is switched on, CLockGuard is the one that it follows.
class CBasicLockable {
  public:
    explicit CBasicLockable(CLock& lock) noexcept : lock_(lock) {}  // takes nothing yet
    CBasicLockable(const CBasicLockable&) = delete;
    CBasicLockable& operator=(const CBasicLockable&) = delete;

    // CLock's Lock and Unlock.
    void lock() noexcept ZTK_ACQUIRE(lock_) { lock_.Lock(); }
    void unlock() noexcept ZTK_RELEASE(lock_) { lock_.Unlock(); }

  private:
    CLock& lock_;
};

}  // namespace ZTK
