// Memory that runs out below the library, in the layer that stands in for the platform.

#include <gtest/gtest.h>

#include "support/faults.h"
#include "ztk/ztk.h"

namespace {

TEST(OutOfMemory, KernelObjectsAreRefusedWithTheirErrorCode) {
    const HANDLE open = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    ztk_test::FailAlways(0);
    SetLastError(0);
    EXPECT_EQ(CreateEventW(nullptr, FALSE, FALSE, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    SetLastError(0);
    EXPECT_EQ(CreateMutexW(nullptr, FALSE, L"named"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    DWORD id = 0;
    SetLastError(0);
    EXPECT_EQ(CreateThread(
                  nullptr, 0, [](LPVOID) -> DWORD { return 0; }, nullptr, 0, &id),
              nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    const LPCWSTR strings[ZTKPosix::kStringsPerBlock] = {};
    SetLastError(0);
    EXPECT_FALSE(ZTKPosix::AddStringBlock(nullptr, 1, strings));
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_NE(SetEvent(open), FALSE) << "what exists goes on working";
    EXPECT_EQ(WaitForSingleObject(open, 0), WAIT_OBJECT_0);
    ztk_test::StopFailing();
    CloseHandle(open);
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
