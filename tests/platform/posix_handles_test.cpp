// What the layer for Linux promises about handles, threads and files beyond the platform, and when
// memory runs out below the library.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "support/buffer_text.h"
#include "support/open_handles.h"
#include "support/refuse_each.h"
#include "ztk/strings.h"
#include "ztk/ztk.h"

namespace {

using ztk_test::TestFile;

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

TEST(PosixThreads, LeaveAsFastAsOthersAreMade) {
    const auto make = [] {
        for (int i = 0; i < 2000; ++i) {
            HANDLE const made = CreateThread(
                nullptr, 0, [](LPVOID) -> DWORD { return 0; }, nullptr, 0, nullptr);
            ASSERT_NE(made, nullptr);
            CloseHandle(made);
        }
    };
    std::thread others[] = {std::thread(make), std::thread(make), std::thread(make)};
    make();
    EXPECT_LT(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}), 250);
    for (std::thread& other : others) {
        other.join();
    }
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

// --- Files

HANDLE Open(const wchar_t* path, DWORD access = GENERIC_READ) {
    SetLastError(0);
    return CreateFileW(path, access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(PosixFiles, OnlyRegularFilesAreOpenedAndOnlyForReading) {
    TestFile file("x");
    const std::string pipe = file.Name() + ".pipe";
    const std::string denied = file.Name() + ".denied";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string circle = denied + "-circle";
    ASSERT_EQ(symlink("/dev/null/file", denied.c_str()), 0);
    ASSERT_EQ(symlink(circle.c_str(), circle.c_str()), 0);
    std::vector<wchar_t> endless(5000, L'a');
    endless.push_back(0);
    const wchar_t lone_surrogate[] = {0xD800, 0};
    const struct {
        const wchar_t* path;
        DWORD access, error;
    } cases[] = {{nullptr, GENERIC_READ, ERROR_PATH_NOT_FOUND},
                 {ZTK::StrConvert(pipe.c_str(), 0), GENERIC_READ, ERROR_NOT_SUPPORTED},
                 {L"/dev/null", GENERIC_READ, ERROR_NOT_SUPPORTED},
                 {ZTK::StrConvert(denied.c_str(), 0), GENERIC_READ, ERROR_PATH_NOT_FOUND},
                 {ZTK::StrConvert(circle.c_str(), 0), GENERIC_READ, ERROR_CANT_RESOLVE_FILENAME},
                 {lone_surrogate, GENERIC_READ, ERROR_FILE_NOT_FOUND},
                 {endless.data(), GENERIC_READ, ERROR_FILENAME_EXCED_RANGE},
                 {L"/", GENERIC_READ, ERROR_ACCESS_DENIED},
                 {L"/no-such-file", GENERIC_READ, ERROR_FILE_NOT_FOUND},
                 {ZTK::StrConvert(file.Name().c_str(), 0), 0x40000000, ERROR_NOT_SUPPORTED}};
    for (const auto& c : cases) {
        EXPECT_EQ(Open(c.path, c.access), INVALID_HANDLE_VALUE) << &c - cases;
        EXPECT_EQ(GetLastError(), c.error) << &c - cases;
    }
    (void)unlink(pipe.c_str());
    (void)unlink(denied.c_str());
    (void)unlink(circle.c_str());
}

TEST(PosixFiles, AFailedOpenAndTheLastCloseLeaveNoDescriptor) {
    TestFile file("x");
    const wchar_t* const path = ZTK::StrConvert(file.Name().c_str(), 0);
    CloseHandle(Open(path));  // the table of handles has its memory from here on
    const int open = ztk_test::OpenHandles();
    ztk_test::FailAfter(0);
    EXPECT_EQ(Open(path), INVALID_HANDLE_VALUE);
    ztk_test::StopFailing();
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    HANDLE const handle = Open(path);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle, 0));
    char byte = 0;
    DWORD read = 0;
    EXPECT_FALSE(ReadFile(handle, nullptr, 1, &read, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_NOACCESS);
    EXPECT_FALSE(ReadFile(handle, &byte, 1, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ztk_test::OpenHandles(), open + 1);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(ztk_test::OpenHandles(), open);
}

// --- Short memory. That of COM and documents is a matter of posix_com_test and xml_lookup_test.

HANDLE Duplicate(HANDLE source) {
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &copy, 0, FALSE, 0);
    return copy;
}

DWORD Nothing(LPVOID) {
    return 0;
}

TEST(OutOfMemory, KernelObjectsAreRefusedWithTheirErrorCode) {
    const HANDLE open = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const std::function<HANDLE()> makers[] = {
        [] { return CreateEventW(nullptr, FALSE, FALSE, nullptr); },
        [] { return CreateMutexW(nullptr, FALSE, L"named"); },
        [] { return CreateMutexW(nullptr, TRUE, nullptr); },
        [] { return CreateThread(nullptr, 0, Nothing, nullptr, 0, nullptr); },
        [] {
            return CreateFileW(L"/proc/self/maps", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0,
                               nullptr);
        },
    };
    // Once with room in the table of handles, and once when a handle needs more room.
    std::vector<HANDLE> filling;
    for (const long long passing : {0, 1}) {
        for (const auto& make : makers) {
            const long long live = ztk_test::LiveBlocks();
            SetLastError(0);
            ztk_test::FailAlways(passing);
            const HANDLE made = make();
            ztk_test::StopFailing();
            EXPECT_TRUE(made == nullptr || made == INVALID_HANDLE_VALUE) << &make - makers;
            EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY) << &make - makers;
            EXPECT_EQ(ztk_test::LiveBlocks(), live) << &make - makers;
        }
        EXPECT_TRUE(SetEvent(open)) << "what exists goes on working";
        EXPECT_EQ(WaitForSingleObject(open, 0), WAIT_OBJECT_0);
        ztk_test::FailAlways(0);
        while (HANDLE copy = Duplicate(open)) {
            filling.push_back(copy);
        }
        EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
        ztk_test::StopFailing();
    }
    filling.push_back(open);
    EXPECT_TRUE(std::all_of(filling.begin(), filling.end(), CloseHandle));
}

TEST(OutOfMemory, AStringBlockIsRefused) {
    const LPCWSTR strings[ZTKPosix::kStringsPerBlock] = {};
    ztk_test::RefuseEach(ztk_test::FailAfter, [&] {
        const BOOL added = ZTKPosix::AddStringBlock(nullptr, 1, strings);
        EXPECT_TRUE(added || GetLastError() == ERROR_NOT_ENOUGH_MEMORY);
        ZTKPosix::RemoveStringBlocks(nullptr);
        return added != FALSE;
    });
}

TEST(OutOfMemory, AThreadWithoutANotifyEventIsRegisteredAllTheSame) {
    ZTK::RegisterThread(1, nullptr);  // makes room in the table
    ztk_test::FailAlways(0);
    EXPECT_EQ(ZTK::RegisterThread(7, reinterpret_cast<void*>(0x70)), nullptr);
    ztk_test::StopFailing();
    EXPECT_EQ(ZTK::GetThreadHandle(7), reinterpret_cast<void*>(0x70));
    EXPECT_EQ(ZTK::GetThreadNotify(7), nullptr);
    ZTK::DeRegisterThread(7);
    ZTK::DeRegisterThread(1);
}

TEST(OutOfMemory, AReceiverThreadThatCannotStartLeavesNoThread) {
    ZTK::CClientSocket socket(100);
    ztk_test::FailAlways(0);
    EXPECT_EQ(socket.Receive(0), nullptr);
    ztk_test::StopFailing();
    EXPECT_EQ(socket.GetThreadID(), 0U);
    ZTK::DeRegisterThread(0);
}

}  // namespace
