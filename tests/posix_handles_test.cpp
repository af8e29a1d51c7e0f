// What the layer for Linux promises about handles and threads beyond the platform.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <set>
#include <thread>

#include "ztk/platform.h"

namespace {

TEST(PosixHandles, ValuesAreNeverUsedAgain) {
    std::set<std::uintptr_t> seen;
    for (int i = 0; i < 5000; ++i) {
        HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        const auto value = reinterpret_cast<std::uintptr_t>(event);
        EXPECT_EQ(0U, value % 4);
        EXPECT_TRUE(seen.insert(value).second) << "a closed handle names a newer object";
        if (i % 2 == 0) {
            CloseHandle(event);
        }
    }
    int open = 0;
    for (const std::uintptr_t value : seen) {
        open += CloseHandle(reinterpret_cast<HANDLE>(value));
    }
    EXPECT_EQ(2500, open);
}

TEST(PosixHandles, AnObjectCannotBeTakenTwiceAtOnce) {
    HANDLE event = CreateEventW(nullptr, FALSE, TRUE, nullptr);
    HANDLE second = nullptr;
    DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &second, 0, FALSE, 0);
    const HANDLE both[] = {event, second};
    EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(2, both, TRUE, 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    // Twice in a wait for any is fine, also when the wait has to queue up.
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, FALSE, 0));
    std::thread setter([&] { SetEvent(event); });
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, FALSE, INFINITE));
    setter.join();
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, both, FALSE, 5));
    EXPECT_NE(0, CloseHandle(event));
    EXPECT_NE(0, CloseHandle(second));
}

bool destroyed;
struct SlowToDie {
    int value = 7;
    ~SlowToDie() {
        Sleep(20);
        destroyed = true;
    }
};

DWORD UseThreadLocalObject(LPVOID) {
    static thread_local SlowToDie object;
    return static_cast<DWORD>(object.value);
}

TEST(PosixThreads, AreSignalledAfterTheirThreadLocalObjectsAreGone) {
    HANDLE thread = CreateThread(nullptr, 0, UseThreadLocalObject, nullptr, 0, nullptr);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, INFINITE));
    EXPECT_TRUE(destroyed);
    CloseHandle(thread);
}

void TakeMutex(void* mutex) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, INFINITE));
}

TEST(PosixThreads, MayTakeAMutexInTheirLastDestructor) {
    HANDLE early = CreateMutexW(nullptr, FALSE, nullptr);
    HANDLE late = CreateMutexW(nullptr, FALSE, nullptr);
    // Made after the layer's own key, so that its destructor runs after the layer's in the first
    // round.
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(early, 0));
    ReleaseMutex(early);
    pthread_key_t key;
    ASSERT_EQ(0, pthread_key_create(&key, TakeMutex));
    std::thread([&] {
        TakeMutex(early);
        pthread_setspecific(key, late);
    }).join();
    EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(early, 0));
    EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(late, 0));
    pthread_key_delete(key);
    CloseHandle(early);
    CloseHandle(late);
}

}  // namespace
