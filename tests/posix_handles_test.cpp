// What the layer for Linux promises about handles and threads beyond the platform.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <set>
#include <thread>

#include "ztk/platform.h"

namespace {

TEST(PosixHandles, ValuesAreNeverUsedAgain) {
    std::set<HANDLE> seen;
    for (int i = 0; i < 5000; ++i) {
        HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(event) % 4);
        EXPECT_TRUE(seen.insert(event).second) << "a closed handle names a newer object";
        EXPECT_TRUE(i % 2 == 0 || CloseHandle(event));
    }
    EXPECT_EQ(2500, std::count_if(seen.begin(), seen.end(), CloseHandle));
}

TEST(PosixHandles, AnObjectCannotBeTakenTwiceAtOnce) {
    HANDLE both[] = {CreateEventW(nullptr, FALSE, TRUE, nullptr), nullptr};
    HANDLE self = GetCurrentProcess();
    DuplicateHandle(self, both[0], self, &both[1], 0, FALSE, 0);
    EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(2, both, TRUE, 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    // Twice in a wait for any is fine, also when the wait has to queue up.
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, FALSE, 0));
    std::thread setter([&] { SetEvent(both[0]); });
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, FALSE, INFINITE));
    setter.join();
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, both, FALSE, 5));
    EXPECT_TRUE(CloseHandle(both[0]) && CloseHandle(both[1]));
}

void TakeMutex(void* mutex) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, INFINITE));
}

HANDLE early, late;
pthread_key_t key;
bool destroyed;
struct SlowToDie {
    bool* done = &destroyed;
    ~SlowToDie() { Sleep(20), *done = true; }
};

DWORD LeaveMuchToTheEnd(LPVOID) {
    static thread_local SlowToDie object;
    TakeMutex(early);
    return *object.done + static_cast<DWORD>(pthread_setspecific(key, late));
}

TEST(PosixThreads, EndAfterTheirThreadLocalObjectsAndMayTakeAMutexInTheirLastDestructor) {
    early = CreateMutexW(nullptr, FALSE, nullptr);
    late = CreateMutexW(nullptr, FALSE, nullptr);
    TakeMutex(early);
    ReleaseMutex(early);
    // Made after the layer's own key, so that its destructor runs after the layer's.
    ASSERT_EQ(0, pthread_key_create(&key, TakeMutex));
    HANDLE thread = CreateThread(nullptr, 0, LeaveMuchToTheEnd, nullptr, 0, nullptr);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, INFINITE));
    EXPECT_TRUE(destroyed);
    for (HANDLE mutex : {early, late}) {
        EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(mutex, INFINITE));
        CloseHandle(mutex);
    }
}

}  // namespace
