// Owners and guards: what they hold is given back once, and by whom it should be.
#include "ztk/scope.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

using ZTK::COwnedHandle;

HANDLE NewEvent() {
    return CreateEventW(nullptr, TRUE, TRUE, nullptr);
}

bool IsOpen(HANDLE handle) {
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
}

TEST(OwnedHandle, IsClosedWhenItsOwnerGoesOrTakesAnother) {
    HANDLE first = NewEvent(), second = NewEvent(), third = NewEvent();
    {
        COwnedHandle owner(first);
        owner.reset(second);
        EXPECT_FALSE(IsOpen(first));
        COwnedHandle other(third);
        owner = std::move(other);
        EXPECT_TRUE(!IsOpen(second) && owner.get() == third && !other);
        COwnedHandle& self = owner;
        owner = std::move(self);
        HANDLE process = GetCurrentProcess();
        EXPECT_TRUE(
            DuplicateHandle(process, third, process, other.put(), 0, FALSE, DUPLICATE_SAME_ACCESS));
        first = other.get();
        const COwnedHandle last(std::move(other));
        EXPECT_TRUE(IsOpen(first) && IsOpen(third) && last.get() == first);
    }
    EXPECT_FALSE(IsOpen(first) || IsOpen(third));
}

TEST(OwnedHandle, NeitherNullNorTheInvalidOneIsOwned) {
    for (HANDLE none : {HANDLE{}, INVALID_HANDLE_VALUE}) {
        COwnedHandle empty(none), filled(NewEvent());
        *filled.put() = none;
        SetLastError(77);
        EXPECT_TRUE(!empty && !filled && empty.get() == nullptr && filled.release() == nullptr);
        empty.reset();
        empty = std::move(filled);
        EXPECT_EQ(GetLastError(), 77U) << "nothing was closed";
    }
    COwnedHandle owner(NewEvent());
    HANDLE const released = owner.release();
    owner.reset();
    EXPECT_TRUE(!owner && IsOpen(released) && CloseHandle(released));
}

TEST(MemPtr, OwnsBlocksOfTheProcessHeap) {
    const ZTK::CMemPtr<const wchar_t> text(ZTK::StrDupW(L"text"));
    ZTK::CMemPtr<int[]> numbers(static_cast<int*>(ZTK::MemAlloc(3 * sizeof(int))));
    const ZTK::CMemPtr<void> any(ZTK::MemAlloc(1)), none;
    EXPECT_TRUE(text.get()[3] == L't' && numbers[2] == 0 && any && !none);
    numbers.reset();
}

TEST(LockGuards, TheStandardLockTypesHoldTheLockToo) {
    ZTK::CLock lock;
    ZTK::CBasicLockable lockable(lock);
    std::condition_variable_any changed;
    int turn = 0;
    const auto take_turn = [&](int mine) {
        std::unique_lock<ZTK::CBasicLockable> held(lockable);
        changed.wait(held, [&] { return turn == mine; });
        ++turn;
        changed.notify_all();
    };
    std::thread second(take_turn, 1);
    take_turn(0);
    second.join();
    const ZTK::CLockGuard guard(lock);
    const std::scoped_lock<ZTK::CBasicLockable> again(lockable);
    std::thread([&] { EXPECT_FALSE(lock.HaveLock()); }).join();
    EXPECT_TRUE(lock.HaveLock());
}

}  // namespace
