// What the layer for Linux promises about handles and threads beyond the platform.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <memory>
#include <set>
#include <thread>

#include "ztk/platform.h"

namespace {

constexpr DWORD kPatience = 10000;

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
    DuplicateHandle(GetCurrentProcess(), both[0], GetCurrentProcess(), &both[1], 0, FALSE, 0);
    EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(2, both, TRUE, 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    // Twice in a wait for any is fine, also when the wait has to queue up.
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, FALSE, 0));
    std::thread setter([&] { SetEvent(both[0]); });
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, FALSE, kPatience));
    setter.join();
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, both, FALSE, 5));
    EXPECT_TRUE(CloseHandle(both[0]) && CloseHandle(both[1]));
}

bool destroyed;
HANDLE late, late_taken;
pthread_key_t key;

void TakeMutexLate(void* mutex) {
    (void)WaitForSingleObject(mutex, kPatience);
    SetEvent(late_taken);
}

struct SlowToDie {
    bool* done = &destroyed;
    ~SlowToDie() { Sleep(20), *done = true; }
};

DWORD LeaveMuchToTheEnd(LPVOID early) {
    static thread_local SlowToDie object;
    (void)WaitForSingleObject(early, kPatience);
    return *object.done + static_cast<DWORD>(pthread_setspecific(key, late));
}

TEST(PosixThreads, EndAfterTheirThreadLocalObjectsAndMayTakeAMutexInTheirLastDestructor) {
    HANDLE early = CreateMutexW(nullptr, TRUE, nullptr);
    ReleaseMutex(early);
    late = CreateMutexW(nullptr, FALSE, nullptr);
    late_taken = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    // Made after the layer's own key, so that its destructor runs after the layer's.
    ASSERT_EQ(0, pthread_key_create(&key, TakeMutexLate));
    HANDLE thread = CreateThread(nullptr, 0, LeaveMuchToTheEnd, early, 0, nullptr);
    EXPECT_TRUE(WaitForSingleObject(thread, kPatience) == WAIT_OBJECT_0 && destroyed);
    EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(early, kPatience));
    // The thread's handle is signalled before the last destructors run.
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(late_taken, kPatience));
    EXPECT_EQ(WAIT_ABANDONED, WaitForSingleObject(late, kPatience));
    for (HANDLE handle : {early, late, late_taken, thread}) {
        EXPECT_TRUE(CloseHandle(handle));
    }
}

}  // namespace
