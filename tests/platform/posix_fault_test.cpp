// Memory that runs out below the library, in the layer that stands in for the platform. COM and
// documents are a matter of posix_com_test and xml_fault_test.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "support/refuse_each.h"
#include "ztk/ztk.h"

namespace {

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
        [open] { return Duplicate(open); },
    };
    // Once with room in the table of handles, and once when a handle needs more room.
    std::vector<HANDLE> filling;
    for (const long long passing : {0, 1}) {
        for (const auto& make : makers) {
            const long long live = ztk_test::LiveBlocks();
            const bool copies = &make == std::end(makers) - 1;  // its only request is for room
            if (copies && passing == 0) {
                continue;
            }
            SetLastError(0);
            ztk_test::FailAlways(copies ? 0 : passing);
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
