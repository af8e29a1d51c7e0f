// The handle set: what its slots hold and give away, and what takes two threads or names.
#include "ztk/handle_set.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/own_name.h"

namespace {

using ZTK::CSASync;

constexpr auto kBad = static_cast<unsigned>(CSASync::BadSyncId);
constexpr auto kTimedOut = static_cast<unsigned>(CSASync::SyncTimeout);
constexpr int kPatience = 10000;  // milliseconds

HANDLE NewEvent() {
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

bool IsOpen(HANDLE handle) {
    return WaitForSingleObject(handle, 0) != WAIT_FAILED;
}

TEST(HandleSet, EachOfItsSlotsIsFilledOnceUntilAllAreClosed) {
    CSASync set;
    HANDLE made[18] = {};
    EXPECT_EQ(set.GetID(nullptr), 0U) << "the first that is empty";
    for (unsigned slot = 0; slot < 18; ++slot) {
        made[slot] = slot % 2 == 0 ? set.CreateEventW(7, slot, nullptr, true)
                                   : set.CreateMutexW(7, slot, nullptr);
        EXPECT_EQ(made[slot] != nullptr, slot < 16) << slot;
        EXPECT_FALSE(set.CreateEventW(7, slot, nullptr, true) ||
                     set.CreateMutexW(7, slot, nullptr));
        EXPECT_TRUE(set.GetHandle(slot) == made[slot] && set[slot] == made[slot]);
        EXPECT_EQ(set.GetID(made[slot]), slot < 16 ? slot : kBad);
        EXPECT_TRUE(set.ValidateHandles());
    }
    EXPECT_EQ(set.SetHandle(made[0], 16, ZTK::SyncTypeEvent), 0);
    set.CloseAll();
    for (unsigned slot = 0; slot < 16; ++slot) {
        EXPECT_FALSE(set[slot] || IsOpen(made[slot]) || set.Close(slot) || set.Clear(slot)) << slot;
    }
    EXPECT_TRUE(set.ValidateHandles() && set.GetID(nullptr) == 0);
}

TEST(HandleSet, EventsAreSignalledAndTakenAsTheyAreMade) {
    for (const bool manual : {false, true}) {
        CSASync set;
        EXPECT_TRUE(set.CreateEventW(0, 2, nullptr, manual));
        EXPECT_FALSE(set.IsSignalled(2));
        EXPECT_TRUE(set.Signal(2) && set.IsSignalled(2));
        EXPECT_EQ(set.IsSignalled(2), manual);
        EXPECT_TRUE(set.Signal(2) && set.Clear(2) && !set.IsSignalled(2));
        EXPECT_TRUE(set.Signal(2) && ZTK::IsEventSignalled(set[2]));
        EXPECT_EQ(ZTK::IsEventSignalled(set[2]), manual);
        set.Signal(2);
        set.ClearAll();
        EXPECT_FALSE(set.IsSignalled(2) || set.Acquire(2, 0) || set.Release(2));
        EXPECT_FALSE(set.Signal(3) || set.Clear(3) || set.Signal(16) || set.Clear(16));
        set.CloseAll();
    }
}

TEST(HandleSet, AWaitTakesTheLowestSlotOfItsMask) {
    CSASync set;
    for (const unsigned slot : {1, 3}) {
        set.CreateEventW(0, slot, nullptr, false);
    }
    set.CreateMutexW(0, 15, nullptr);
    for (const int time : {0, 1}) {
        EXPECT_EQ(set.Wait(0xA, time), kTimedOut);
        EXPECT_TRUE(set.Signal(1) && set.Signal(3));
        EXPECT_EQ(set.Wait(0x8008, time), 3U);
        EXPECT_EQ(set.Wait(0x800A, time), 1U);
        EXPECT_EQ(set.Wait(0x800A, time), 15U);
        EXPECT_TRUE(set.Release(15) && !set.Release(15));
        EXPECT_EQ(set.Wait(0xFFFF000A, time), kTimedOut) << "there is nothing above slot 15";
        for (const DWORD mask : {0x0u, 0x10000u, 0x2u | 0x4u}) {
            EXPECT_EQ(set.Wait(mask, time), kBad) << "no slot, or an empty one";
        }
    }
    set.SetHandle(set[3], 0, ZTK::SyncTypeNone);
    EXPECT_TRUE(set.Signal(3));
    EXPECT_EQ(set.Wait(0x8, 0), 0U) << "a handle is named by its first slot";
    EXPECT_TRUE(set.SetHandle(nullptr, 0, ZTK::SyncTypeNone) && set.Close(3) && set[3]);
    EXPECT_EQ(set.Wait(0x8, 0), kBad) << "closed, but kept";
    EXPECT_TRUE(ZTK::IsEventSignalled(set[3]) && !ZTK::IsEventSignalled(nullptr));
    CSASync copy(set), assigned;
    assigned = copy;
    EXPECT_TRUE(assigned.Signal(1) && copy.IsSignalled(1)) << "copies share handles";
    EXPECT_FALSE(set.ValidateHandles()) << "slot 0 counts, but holds nothing";
    set.CloseAll();
}

TEST(HandleSet, AnotherHandleReplacesAndClosesOnlyEventsAndMutexes) {
    for (int kind = 0; kind < 6; ++kind) {
        SCOPED_TRACE(kind);
        const auto type = static_cast<ZTK::TSyncType>(kind);
        const bool owned = type == ZTK::SyncTypeEvent || type == ZTK::SyncTypeMutex;
        const HANDLE handles[] = {NewEvent(), NewEvent()};
        CSASync set;
        EXPECT_FALSE(set.SetHandle(nullptr, 5, type));
        EXPECT_TRUE(set.SetHandle(handles[0], 5, type) && set.GetID(handles[0]) == 5);
        EXPECT_EQ(set.Signal(5), type == ZTK::SyncTypeEvent);
        EXPECT_TRUE(set.SetHandle(handles[1], 5, type) && set[5] == handles[1]);
        EXPECT_NE(IsOpen(handles[0]), owned);
        EXPECT_TRUE(set.ValidateHandles() && IsOpen(handles[1]));
        EXPECT_TRUE(set.SetHandle(nullptr, 5, type) && !set[5]);
        EXPECT_NE(IsOpen(handles[1]), owned);
        EXPECT_TRUE(owned || (CloseHandle(handles[0]) && CloseHandle(handles[1])));
    }
}

TEST(HandleSet, AMutexIsAcquiredByLevelsAndAlsoWhenAbandonedButThenEndsAWaitAsBad) {
    CSASync set;
    set.CreateMutexW(0, 3, nullptr);
    HANDLE own = nullptr;
    DuplicateHandle(GetCurrentProcess(), set[3], GetCurrentProcess(), &own, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    const auto on_thread = [&](int expected) {
        std::thread([&] { EXPECT_EQ(set.Acquire(3, 0), expected); }).join();
    };
    EXPECT_TRUE(!set.Signal(3) && set.Acquire(3, kPatience) && set.IsSignalled(3));
    EXPECT_TRUE(set.Clear(3) && set.Release(3) && !set.Release(3));
    on_thread(1);
    EXPECT_EQ(set.Acquire(3, 0), 1) << "abandoned";
    on_thread(0);
    std::thread([&] { EXPECT_EQ(set.Release(3), 0); }).join();
    EXPECT_NE(set.Release(3), 0);
    on_thread(1);
    EXPECT_EQ(set.Wait(1u << 3, 0), kBad);
    EXPECT_NE(set.Release(3), 0) << "the caller has it all the same";
    on_thread(1);
    EXPECT_TRUE(!set.IsSignalled(3) && set.Close(3));
    std::thread([&] { EXPECT_TRUE(IsOpen(own)) << "closing released it"; }).join();
    EXPECT_EQ(WaitForSingleObject(own, 0), DWORD{WAIT_ABANDONED});
    EXPECT_TRUE(CloseHandle(own));
}

TEST(HandleSet, OneNamedObjectWakesAWaitThroughAnotherSet) {
    CSASync first, second;
    const wchar_t* const name = ztk_test::OwnName(L"ztk-handle-set");
    EXPECT_TRUE(first.CreateEventW(0, 0, name, true));
    EXPECT_TRUE(second.CreateEventW(0, 15, name, false));
    EXPECT_FALSE(second.CreateMutexW(0, 1, name)) << "it names an event";
    std::thread signaller([&] { first.Signal(0); });
    EXPECT_EQ(second.Wait(1u << 15, kPatience), 15U);
    signaller.join();
    first.CloseAll();
    EXPECT_TRUE(second.IsSignalled(15)) << "each has a handle of its own";
    second.CloseAll();
}

}  // namespace
