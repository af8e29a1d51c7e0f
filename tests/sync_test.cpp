// The recursive lock and the thread registry.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "ztk/sync.h"
#include "ztk/threads.h"

namespace {

void OnAnotherThread(const std::function<void()>& work) {
    std::thread(work).join();
}

// Another thread can take the lock. Never returns if it cannot; the time limit of the test tells.
void ExpectFree(ZTK::CLock& lock) {
    OnAnotherThread([&] {
        lock.Lock();
        lock.Unlock();
    });
}

// Another thread does not get the lock before the caller, who holds one level, releases it.
void ExpectHeldOnce(ZTK::CLock& lock) {
    HANDLE inside = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread taker([&] {
        lock.Lock();
        SetEvent(inside);
        lock.Unlock();
    });
    EXPECT_EQ(WaitForSingleObject(inside, 20), static_cast<DWORD>(WAIT_TIMEOUT));
    lock.Unlock();
    EXPECT_EQ(WaitForSingleObject(inside, INFINITE), WAIT_OBJECT_0);
    taker.join();
    CloseHandle(inside);
}

TEST(Lock, IsHeldUntilEveryLevelIsReleased) {
    ZTK::CLock lock;
    lock.Lock();
    lock.Lock();
    lock.Unlock();
    ExpectHeldOnce(lock);
    ExpectFree(lock);
}

TEST(Lock, UnbalancedUnlocksChangeNothing) {
    ZTK::CLock lock;
    lock.Unlock();  // nobody ever locked it
    lock.Lock();
    OnAnotherThread([&] { lock.Unlock(); });  // not the holder
    ExpectHeldOnce(lock);
    lock.Lock();
    for (int i = 0; i < 3; ++i) {
        lock.Unlock();  // extra unlocks must not pile up
    }
    lock.Lock();
    ExpectHeldOnce(lock);
}

TEST(Lock, RemembersWhoLockedLastEvenAfterTheRelease) {
    ZTK::CLock lock;
    EXPECT_FALSE(lock.HaveLock());
    lock.Lock();
    EXPECT_TRUE(lock.HaveLock());
    lock.Unlock();
    EXPECT_TRUE(lock.HaveLock());
    OnAnotherThread([&] {
        EXPECT_FALSE(lock.HaveLock());
        lock.Lock();
        lock.Unlock();
        EXPECT_TRUE(lock.HaveLock());
    });
    EXPECT_FALSE(lock.HaveLock());
}

TEST(Lock, CanBeDestroyedWhileTheDestroyerHoldsIt) {
    for (const int levels : {1, 2}) {
        auto lock = std::make_unique<ZTK::CLock>();
        for (int i = 0; i < levels; ++i) {
            lock->Lock();
        }
        lock.reset();
    }
}

// Threads that lock, nest, and unlock once too often: the extra unlock of a thread that was the
// last owner races with the next owner's Lock and must never let two threads in.
TEST(Lock, ExcludesThreadsThatUnlockTooOften) {
    ZTK::CLock lock;
    int inside = 0;
    int total = 0;
    bool collided = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                lock.Lock();
                lock.Lock();
                collided |= inside++ != 0;
                ++total;
                lock.Unlock();
                --inside;
                lock.Unlock();
                lock.Unlock();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(collided);
    EXPECT_EQ(total, 80000);
}

// A thread that waits for its gate, or the handle of one.
struct Worker {
    HANDLE gate = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD id = 0;
    HANDLE handle = CreateThread(nullptr, 0, Run, this, 0, &id);

    static DWORD WINAPI Run(void* self) {
        WaitForSingleObject(static_cast<Worker*>(self)->gate, INFINITE);
        ZTK::DeRegisterThread(GetCurrentThreadId());
        return 0;
    }
    ~Worker() { CloseHandle(gate); }
};

HANDLE DuplicateOf(HANDLE handle) {
    HANDLE duplicate = nullptr;
    DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &duplicate, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return duplicate;
}

bool IsOpen(HANDLE handle) {
    return WaitForSingleObject(handle, 0) != WAIT_FAILED;
}

TEST(ThreadRegistry, KeepsTheFirstHandleAndEventOfAnId) {
    HANDLE one = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE two = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    void* notify = ZTK::RegisterThread(5, one);
    ASSERT_NE(notify, nullptr);
    EXPECT_EQ(ZTK::RegisterThread(5, two), notify);
    EXPECT_EQ(ZTK::GetThreadHandle(5), one);
    EXPECT_EQ(ZTK::GetThreadNotify(5), notify);
    EXPECT_EQ(WaitForSingleObject(notify, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    SetEvent(notify);
    EXPECT_EQ(WaitForSingleObject(notify, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(notify, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "auto-reset";

    ZTK::DeRegisterThread(5);
    EXPECT_EQ(ZTK::GetThreadHandle(5), nullptr);
    EXPECT_EQ(ZTK::GetThreadNotify(5), nullptr);
    EXPECT_FALSE(IsOpen(notify));
    EXPECT_TRUE(IsOpen(one)) << "the thread handle is not the registry's to close here";
    ZTK::DeRegisterThread(5);
    CloseHandle(one);
    CloseHandle(two);
}

TEST(ThreadRegistry, ANullHandleIsRecordedLikeAnyOther) {
    EXPECT_NE(ZTK::RegisterThread(0, nullptr), nullptr);
    EXPECT_NE(ZTK::GetThreadNotify(0), nullptr);
    EXPECT_EQ(ZTK::GetThreadHandle(0), nullptr);
    ZTK::DeRegisterThread(0);
}

TEST(ThreadRegistry, WaitingClosesHandlesOfThreadsThatStillRun) {
    Worker a;
    Worker b;
    const HANDLE kept[] = {DuplicateOf(a.handle), DuplicateOf(b.handle)};
    void* events[] = {ZTK::RegisterThread(a.id, a.handle), ZTK::RegisterThread(b.id, b.handle)};
    ZTK::WaitRegisteredThreadsExit(0);
    EXPECT_FALSE(IsOpen(a.handle));
    EXPECT_FALSE(IsOpen(b.handle));
    EXPECT_FALSE(IsOpen(events[0]));
    EXPECT_FALSE(IsOpen(events[1]));
    EXPECT_EQ(ZTK::GetThreadHandle(a.id), nullptr);
    SetEvent(a.gate);
    SetEvent(b.gate);
    EXPECT_EQ(WaitForMultipleObjects(2, kept, TRUE, 10000), WAIT_OBJECT_0);
    CloseHandle(kept[0]);
    CloseHandle(kept[1]);
    ZTK::WaitRegisteredThreadsExit(INFINITE);  // nothing registered: no wait at all
}

TEST(ThreadRegistry, WaitingEndsWhenAllThreadsHaveEnded) {
    std::vector<std::unique_ptr<Worker>> workers;
    std::vector<HANDLE> kept;
    for (int i = 0; i < 20; ++i) {
        workers.push_back(std::make_unique<Worker>());
        kept.push_back(DuplicateOf(workers.back()->handle));
        ZTK::RegisterThread(workers.back()->id, workers.back()->handle);
    }
    std::thread opener([&] {
        for (auto& worker : workers) {
            SetEvent(worker->gate);
        }
    });
    ZTK::WaitRegisteredThreadsExit(INFINITE);
    for (const HANDLE handle : kept) {
        EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_OBJECT_0);
        CloseHandle(handle);
    }
    opener.join();
}

TEST(ThreadRegistry, MoreHandlesThanOneWaitTakesAreClosedUnwaited) {
    for (const bool with_null : {false, true}) {
        const unsigned int count = with_null ? 2 : 65;
        std::vector<HANDLE> handles;
        for (unsigned int id = 1; id <= count; ++id) {
            HANDLE never =
                with_null && id == 1 ? nullptr : CreateEventW(nullptr, TRUE, FALSE, nullptr);
            handles.push_back(never);
            ZTK::RegisterThread(id, never);
        }
        ZTK::WaitRegisteredThreadsExit(INFINITE);
        for (const HANDLE handle : handles) {
            EXPECT_FALSE(IsOpen(handle));
        }
    }
}

}  // namespace
