// The handle set against a naive model of slots and objects, and cases of two threads or two names.
#include "ztk/handle_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace {

using ZTK::CSASync;

constexpr int kBad = -1, kTimedOut = -2, kEvent = 3, kMutex = 4;

// What an open handle leads to, seen by one thread: a mutex is always free for it.
struct Object {
    bool mutex, manual;
    int state;  // levels held, or whether signalled
};

// The set, written down slot by slot. A closed handle leads to no object.
struct Model {
    std::map<HANDLE, Object> open;
    std::vector<HANDLE> handles = std::vector<HANDLE>(20);  // more than there are, never filled
    std::vector<int> kinds = std::vector<int>(20);
    int count = 0;

    Object* Find(HANDLE handle) { return open.contains(handle) ? &open[handle] : nullptr; }
    int Take(HANDLE handle) {
        Object* object = Find(handle);
        if (object == nullptr || object->mutex) {
            return object == nullptr ? kBad : ++object->state > 0;
        }
        return std::exchange(object->state, object->manual ? object->state : 0);
    }
    bool Release(HANDLE handle) {
        Object* object = Find(handle);
        return object && object->mutex && object->state > 0 && object->state-- > 0;
    }
    void Signal(HANDLE handle, int state) {
        if (Object* object = Find(handle); object && !object->mutex) {
            object->state = state;
        }
    }
    bool Is(unsigned slot, int kind) { return handles[slot] && kinds[slot] == kind; }
    bool Clear(unsigned slot) {
        Is(slot, kEvent) ? Signal(handles[slot], 0) : void();
        return (Is(slot, kMutex) && Release(handles[slot])) || handles[slot];
    }
    bool Close(unsigned slot) {
        if (Is(slot, kMutex) || Is(slot, kEvent)) {
            open.erase(handles[slot]);
        }
        return handles[slot];
    }
    bool SetHandle(HANDLE handle, unsigned slot, int kind) {
        if (slot > 15 || !(handle || handles[slot])) {
            return false;
        }
        count += !Close(slot);
        handles[slot] = handle;
        kinds[slot] = kind;
        return true;
    }
    int GetID(HANDLE handle) {
        const auto found = std::find(handles.begin(), handles.begin() + 16, handle);
        return found == handles.begin() + 16 ? kBad : static_cast<int>(found - handles.begin());
    }
    int Wait(unsigned mask) {
        int first = kTimedOut;
        for (unsigned slot = 16; slot-- > 0;) {
            if (Object* object = Find(handles[slot]); (mask >> slot & 1) != 0) {
                if (object == nullptr) {
                    return kBad;
                }
                first = object->mutex || object->state ? static_cast<int>(slot) : first;
            }
        }
        HANDLE handle = handles[first < 0 ? 16 : static_cast<unsigned>(first)];
        return Take(handle) == 1 ? GetID(handle) : first;
    }
};

TEST(HandleSet, FollowsTheModelThroughRandomOperations) {
    std::mt19937 random(20240611);
    Model model;
    CSASync set;
    unsigned slot = 0, other = 0;
    bool flag = false, rare = false;
    HANDLE handle = nullptr;  // of some slot; perhaps null, perhaps closed

    using Results = std::pair<int, int>;  // what the set gave, and the model
    const auto created = [&](HANDLE made, bool mutex) {
        const bool expected = slot < 16 && !model.handles[slot];
        if (expected) {
            model.SetHandle(made, slot, mutex ? kMutex : kEvent);
            model.open[made] = {mutex, flag, 0};
        }
        return Results(made != nullptr, expected);
    };
    const auto is = [&](int kind) { return model.Is(slot, kind); };
    const auto taken = [&] { return model.Take(model.handles[slot]) == 1; };
    const std::function<Results()> operations[] = {
        [&] { return created(set.CreateEventW(7, slot, nullptr, flag), false); },
        [&] { return created(set.CreateMutexW(7, slot, nullptr), true); },
        [&] {
            const int kind = static_cast<int>(random() % 6);
            if (flag) {
                handle = CreateEventW(nullptr, TRUE, other & 1, nullptr);
                model.open[handle] = {false, true, static_cast<int>(other & 1)};
            }
            return Results(set.SetHandle(handle, slot, static_cast<ZTK::TSyncType>(kind)),
                           model.SetHandle(handle, slot, kind));
        },
        [&] {
            is(kEvent) ? model.Signal(model.handles[slot], 1) : void();
            return Results(set.Signal(slot), is(kEvent));
        },
        [&] {
            const unsigned mask = 1u << (slot & 15) | 1u << other;
            return Results(set.Wait(mask | random() << 16, 0), model.Wait(mask));
        },
        [&] {
            set = *std::make_unique<CSASync>(set);
            flag ? set.ClearAll() : void();
            for (unsigned i = 0; flag && i < 16; ++i) {
                model.Clear(i);
            }
            return Results(set.Wait(random() << 16, 0), kBad);
        },
        [&] {
            for (HANDLE closed : model.handles) {
                model.open.erase(rare ? closed : nullptr);
            }
            rare ? set.CloseAll(), model = {std::move(model.open)} : model;
            return Results(rare && ZTK::IsEventSignalled(handle), rare && handle);
        },
        [&] { return Results(set.GetID(handle), model.GetID(handle)); },
        [&] { return Results(set.Clear(slot), model.Clear(slot)); },
        [&] { return Results(set.Acquire(slot, 0), is(kMutex) && taken()); },
        [&] {
            return Results(set.Release(slot), is(kMutex) && model.Release(model.handles[slot]));
        },
        [&] { return Results(set.IsSignalled(slot), taken()); },
        [&] { return Results(set.Close(slot), model.Close(slot)); },
        [&] { return Results(ZTK::IsEventSignalled(handle), handle && model.Take(handle)); },
    };
    for (int step = 0; step < 40000; ++step) {
        const auto operation = random() % std::size(operations);
        slot = random() % 4 != 0 ? random() % 4 : random() % 20;  // some often, some out of range
        other = random() % 4;
        handle = set[other];
        flag = random() % 2 != 0;
        rare = random() % 32 == 0;
        const auto [actual, expected] = operations[operation]();
        ASSERT_EQ(actual, expected) << "step " << step << ": " << operation << " on " << slot;
        for (unsigned i = 0; i < 20; ++i) {
            ASSERT_EQ(set.GetHandle(i), model.handles[i]) << "step " << step << ": " << operation;
        }
        ASSERT_EQ(
            set.ValidateHandles(),
            std::count(model.handles.begin(), model.handles.end(), nullptr) + model.count == 20);
    }
    set.CloseAll();
}

TEST(HandleSet, AnAbandonedMutexIsAcquiredButEndsAWaitAsBad) {
    CSASync set;
    set.CreateMutexW(0, 3, nullptr);
    const auto abandon = [&] { std::thread([&] { EXPECT_EQ(set.Acquire(3, -1), 1); }).join(); };
    abandon();
    EXPECT_EQ(set.Acquire(3, 0), 1);
    std::thread([&] { EXPECT_EQ(set.Acquire(3, 0) + set.Release(3), 0) << "held"; }).join();
    EXPECT_NE(set.Release(3), 0);
    abandon();
    EXPECT_EQ(set.Wait(1u << 3, 0), static_cast<unsigned>(CSASync::BadSyncId));
    EXPECT_NE(set.Release(3), 0) << "the caller has it all the same";
    abandon();
    EXPECT_FALSE(set.IsSignalled(3));
    set.CloseAll();
}

TEST(HandleSet, OneNamedObjectWakesAWaitThroughAnotherSet) {
    CSASync first, second;
    EXPECT_TRUE(first.CreateEventW(0, 0, L"ztk-handle-set", true));
    EXPECT_TRUE(second.CreateEventW(0, 15, L"ztk-handle-set", false));
    EXPECT_FALSE(second.CreateMutexW(0, 1, L"ztk-handle-set")) << "it names an event";
    std::thread signaller([&] { first.Signal(0); });
    EXPECT_EQ(second.Wait(1u << 15, -1), 15U);
    signaller.join();
    first.CloseAll();
    EXPECT_TRUE(second.IsSignalled(15)) << "each has a handle of its own";
    second.CloseAll();
}

}  // namespace
