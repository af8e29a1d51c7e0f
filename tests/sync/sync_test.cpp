// The recursive lock and the thread registry.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "ztk/sync.h"
#include "ztk/threads.h"

namespace {

constexpr DWORD kTaken = WAIT_OBJECT_0, kTimedOut = WAIT_TIMEOUT, kFailed = WAIT_FAILED;

HANDLE NewEvent() {
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

const HANDLE gate = NewEvent();

// Another thread does not get the lock before the caller, who holds one level, releases it.
void ExpectHeldOnce(ZTK::CLock& lock) {
    ResetEvent(gate);
    std::thread taker([&] {
        lock.Lock();
        SetEvent(gate);
        lock.Unlock();
        EXPECT_TRUE(lock.HaveLock());
    });
    EXPECT_EQ(WaitForSingleObject(gate, 20), kTimedOut);
    lock.Unlock();
    taker.join();
    EXPECT_FALSE(lock.HaveLock());
}

TEST(Lock, IsHeldUntilEveryLevelIsReleasedAndRemembersItsLastHolder) {
    ZTK::CLock lock;
    lock.Unlock();  // nobody ever locked it
    EXPECT_FALSE(lock.HaveLock());
    lock.Lock();
    lock.Lock();
    lock.Unlock();
    std::thread([&] { lock.Unlock(); }).join();  // not the holder
    ExpectHeldOnce(lock);
    lock.Lock();
    lock.Unlock();
    EXPECT_TRUE(lock.HaveLock()) << "released, but the last to have it";
    lock.Unlock();  // an extra one must not be remembered
    lock.Lock();
    ExpectHeldOnce(lock);
    lock.Lock();
    lock.Lock();  // destroyed while held
}

// Threads that lock, nest, and unlock once too often: the extra unlock of a thread that was the
// last owner races with the next owner's Lock and must never let two threads in.
TEST(Lock, ExcludesThreadsThatUnlockTooOften) {
    ZTK::CLock lock;
    bool inside = false, collided = false;
    const auto work = [&] {
        for (int i = 0; i < 20000; ++i) {
            lock.Lock();
            lock.Lock();
            collided |= std::exchange(inside, true);
            lock.Unlock();
            inside = false;
            lock.Unlock();
            lock.Unlock();
        }
    };
    std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work)};
    work();
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(collided);
}

bool IsOpen(HANDLE handle) {
    return WaitForSingleObject(handle, 0) != kFailed;
}

constexpr DWORD kPatience = 10000;

// A registered thread that waits for the gate, deregisters itself and ends.
struct Worker {
    DWORD id = 0;
    HANDLE handle = CreateThread(nullptr, 0, Run, nullptr, CREATE_SUSPENDED, &id), kept = nullptr;
    HANDLE notify = ZTK::RegisterThread(id, handle);

    Worker() {
        HANDLE self = GetCurrentProcess();
        DuplicateHandle(self, handle, self, &kept, 0, FALSE, DUPLICATE_SAME_ACCESS);
        EXPECT_TRUE(ResetEvent(gate) && ResumeThread(handle) == 1);
    }
    ~Worker() { EXPECT_TRUE(WaitForSingleObject(kept, kPatience) == kTaken && CloseHandle(kept)); }
    static DWORD WINAPI Run(void*) {
        EXPECT_EQ(WaitForSingleObject(gate, kPatience), kTaken);
        ZTK::DeRegisterThread(GetCurrentThreadId());
        return 0;
    }
};

TEST(ThreadRegistry, KeepsTheFirstHandleAndEventOfAnId) {
    for (HANDLE first : {NewEvent(), HANDLE{}}) {
        void* notify = ZTK::RegisterThread(5, first);
        EXPECT_EQ(ZTK::RegisterThread(5, gate), notify);
        EXPECT_TRUE(ZTK::GetThreadHandle(5) == first && ZTK::GetThreadNotify(5) == notify);
        const auto is_set = [&] { return WaitForSingleObject(notify, 0) == kTaken; };
        EXPECT_TRUE(!is_set() && SetEvent(notify) && is_set() && !is_set()) << "auto-reset";
        ZTK::DeRegisterThread(5);
        EXPECT_TRUE(!ZTK::GetThreadHandle(5) && !ZTK::GetThreadNotify(5) && !IsOpen(notify));
        EXPECT_EQ(IsOpen(first), first != nullptr) << "not the registry's to close here";
        ZTK::DeRegisterThread(5);
        EXPECT_TRUE(first == nullptr || CloseHandle(first));
    }
}

TEST(ThreadRegistry, WaitingClosesHandlesOfThreadsThatStillRun) {
    Worker a, b;
    ZTK::WaitRegisteredThreadsExit(0);
    EXPECT_FALSE(IsOpen(a.handle) || IsOpen(b.handle) || IsOpen(a.notify) || IsOpen(b.notify));
    EXPECT_TRUE(ZTK::GetThreadHandle(a.id) == nullptr && SetEvent(gate));
    ZTK::WaitRegisteredThreadsExit(INFINITE);  // nothing registered: no wait at all
}

TEST(ThreadRegistry, WaitingEndsWhenAllThreadsHaveEnded) {
    Worker workers[64];  // as many as one wait takes
    // Not before the wait has taken the threads out of the registry: one that deregisters itself
    // earlier is not waited for.
    std::thread opener([&] {
        while (ZTK::GetThreadHandle(workers[0].id) != nullptr) {
            std::this_thread::yield();
        }
        SetEvent(gate);
    });
    ZTK::WaitRegisteredThreadsExit(kPatience);
    for (const Worker& worker : workers) {
        EXPECT_EQ(WaitForSingleObject(worker.kept, 0), kTaken);
    }
    opener.join();
}

TEST(ThreadRegistry, MoreHandlesThanOneWaitTakesOrANullAreClosedUnwaited) {
    for (const unsigned count : {65U, 2U}) {  // of the two one is null
        HANDLE handles[65] = {};
        for (unsigned id = 0; id < count; ++id) {
            handles[id] = count + id == 2 ? nullptr : NewEvent();
            ZTK::RegisterThread(id, handles[id]);
        }
        ZTK::WaitRegisteredThreadsExit(INFINITE);
        EXPECT_TRUE(std::none_of(handles, handles + 65, IsOpen));
    }
}

}  // namespace
