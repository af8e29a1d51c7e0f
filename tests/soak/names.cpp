// Named events and mutexes between processes that are killed at random moments. The children are
// forked: what they use they open by name.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ztk/platform.h"
#include "ztk/strings.h"

namespace {

constexpr DWORD kPatience = 15000;

// What the processes of a test tell each other beside the library.
struct Notes {
    std::atomic<long> owner;  // the process that has the mutex, and so is alone here
    std::atomic<long> owned;  // how often it was had
    std::atomic<long> sets[8];
    std::atomic<long> takes[8];
    std::atomic<long> failures;
};

struct Shared {
    Notes* notes = static_cast<Notes*>(
        mmap(nullptr, sizeof(Notes), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ~Shared() { munmap(notes, sizeof(Notes)); }
    Notes* operator->() const { return notes; }
};

const wchar_t* Name(const char* what) {
    static const long base = getpid();
    return ZTK::StrFormat(L"ztk-soak-%ld-%hs", base, what);
}

// Needs a system whose processes can share names.
struct Names : testing::Test {
    void SetUp() override {
        if (!ZTKPosix::NamesAreShared()) {
            GTEST_SKIP() << "no /dev/shm, or a system older than Linux 5.16";
        }
    }
};

HANDLE Event(int i) {
    return CreateEventW(nullptr, FALSE, FALSE, Name(("event" + std::to_string(i)).c_str()));
}

// Ends a child. A sanitizer's own exit would count the parent's threads as leaked by the child.
[[noreturn]] void Leave(int code) {
    syscall(SYS_exit_group, code);
    std::abort();
}

pid_t Fork(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(120);
        body();
        Leave(0);
    }
    return child;
}

// Whether it ended by itself without a failure.
bool Ended(pid_t child) {
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

void Kill(pid_t child) {
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

void Expect(Notes& notes, bool holds) {
    if (!holds) {
        ++notes.failures;
    }
}

// Takes the mutex, is alone for a moment, and releases it, again and again.
void OwnAgainAndAgain(Notes& notes, HANDLE mutex) {
    for (;;) {
        const DWORD result = WaitForSingleObject(mutex, kPatience);
        Expect(notes, result == WAIT_OBJECT_0 || result == WAIT_ABANDONED);
        notes.owner = getpid();
        ++notes.owned;
        notes.owner = 0;
        Expect(notes, ReleaseMutex(mutex));
    }
}

TEST_F(Names, OfKilledOwnersAreAbandonedOnce) {
    const Shared notes;
    std::mt19937 random(static_cast<unsigned>(getpid()));
    HANDLE const mutex = CreateMutexW(nullptr, FALSE, Name("mutex"));
    long abandoned = 0;
    constexpr int kRounds = 300;
    for (int i = 0; i < kRounds; ++i) {
        notes->owned = notes->owner = 0;
        const pid_t owner = Fork(
            [&] { OwnAgainAndAgain(*notes.notes, CreateMutexW(nullptr, FALSE, Name("mutex"))); });
        // One that waits already when the owner is killed, and tells what he got. Then this one
        // goes on where he stopped.
        while (notes->owned == 0) {
            usleep(10);
        }
        const pid_t waiter = Fork([] {
            HANDLE const same = CreateMutexW(nullptr, FALSE, Name("mutex"));
            const DWORD first = WaitForSingleObject(same, kPatience);
            const bool released = ReleaseMutex(same) != 0;
            Leave(released ? static_cast<int>(first & 0xFF) : 1);
        });
        usleep(random() % 300);
        if (i % 2 == 0) {
            kill(owner, SIGSTOP);  // so that the waiter may come to sleep
            usleep(random() % 300);
        }
        kill(owner, SIGKILL);
        waitpid(owner, nullptr, 0);
        const bool held = notes->owner == owner;
        int status = 0;
        waitpid(waiter, &status, 0);
        ASSERT_TRUE(WIFEXITED(status)) << "the waiter hangs, round " << i;
        const DWORD first = static_cast<DWORD>(WEXITSTATUS(status));
        const DWORD second = WaitForSingleObject(mutex, kPatience);
        ASSERT_TRUE(first == WAIT_OBJECT_0 || first == WAIT_ABANDONED) << first;
        ASSERT_TRUE(second == WAIT_OBJECT_0 || second == WAIT_ABANDONED) << second;
        const int told = (first == WAIT_ABANDONED) + (second == WAIT_ABANDONED);
        ASSERT_LE(told, 1) << "told twice";
        ASSERT_TRUE(!held || told == 1) << "not told, round " << i;
        ASSERT_TRUE(ReleaseMutex(mutex));
        abandoned += told;
    }
    EXPECT_EQ(notes->failures, 0);
    EXPECT_TRUE(CloseHandle(mutex));
    std::printf("Names %d\nabandoned %ld\n", kRounds, abandoned);
}

// Sets, waits for one and for all, takes and releases. A mutex keeps others out of the middle.
void UseAll(Notes& notes, unsigned seed, const std::atomic<long>* stop) {
    std::mt19937 random(seed);
    HANDLE const mutexes[] = {CreateMutexW(nullptr, FALSE, Name("first")),
                              CreateMutexW(nullptr, FALSE, Name("second"))};
    HANDLE const events[] = {Event(0), Event(1)};
    HANDLE const local = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    while (stop == nullptr || *stop == 0) {
        const unsigned k = random() % 2;
        ++notes.sets[k];
        Expect(notes, SetEvent(events[k]));
        HANDLE const any[] = {local, events[0], events[1]};
        const DWORD got = WaitForMultipleObjects(3, any, FALSE, random() % 3);
        if (got == WAIT_OBJECT_0 + 1 || got == WAIT_OBJECT_0 + 2) {
            ++notes.takes[got - 1];
        } else {
            Expect(notes, got == WAIT_TIMEOUT);
        }
        const DWORD both = WaitForMultipleObjects(2, mutexes, TRUE, kPatience);
        Expect(notes, both == WAIT_OBJECT_0 || both == WAIT_ABANDONED);
        if (both == WAIT_ABANDONED) {
            notes.owner = 0;
        }
        Expect(notes, notes.owner.exchange(getpid()) == 0);
        notes.owner = 0;
        Expect(notes, ReleaseMutex(mutexes[k]) && ReleaseMutex(mutexes[1 - k]));
        HANDLE const all[] = {events[0], mutexes[1], events[1]};
        const DWORD three = WaitForMultipleObjects(3, all, TRUE, 0);
        if (three == WAIT_OBJECT_0 || three == WAIT_ABANDONED) {
            ++notes.takes[0];
            ++notes.takes[1];
            Expect(notes, ReleaseMutex(mutexes[1]));
        } else {
            Expect(notes, three == WAIT_TIMEOUT);
        }
        if (random() % 8 == 0) {
            CloseHandle(CreateEventW(nullptr, TRUE, TRUE, Name("passing")));
        }
    }
}

TEST_F(Names, OutliveProcessesKilledInTheMidst) {
    const Shared notes;
    std::mt19937 random(static_cast<unsigned>(getpid()));
    std::atomic<long>& stop = notes->sets[7];
    pid_t survivors[2];
    for (unsigned i = 0; i < 2; ++i) {
        survivors[i] = Fork([&] { UseAll(*notes.notes, i, &stop); });
    }
    constexpr int kKills = 300;
    pid_t victims[3] = {};
    for (int i = 0; i < kKills + 3; ++i) {
        pid_t& victim = victims[i % 3];
        Kill(victim);
        victim = Fork([&] { UseAll(*notes.notes, static_cast<unsigned>(i), nullptr); });
        usleep(random() % 3000);
    }
    for (pid_t& victim : victims) {
        Kill(victim);
    }
    stop = 1;
    for (const pid_t survivor : survivors) {
        EXPECT_TRUE(Ended(survivor)) << "a survivor hangs";
    }
    EXPECT_EQ(notes->failures, 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_LE(notes->takes[i], notes->sets[i]) << "a signal was taken twice";
    }
    for (const char* name : {"first", "second", "event0", "event1", "passing"}) {
        SetLastError(77);
        HANDLE const left = CreateMutexW(nullptr, FALSE, Name(name));
        EXPECT_EQ(GetLastError(), 0U) << name << " was left";
        EXPECT_TRUE(CloseHandle(left));
    }
    std::printf("Names %d\nsets %ld\n", kKills, notes->sets[0] + notes->sets[1]);
}

TEST_F(Names, GiveEachSignalToOneProcess) {
    const Shared notes;
    constexpr int kEvents = 7;
    constexpr long kSets = 20000;
    HANDLE events[kEvents];
    HANDLE const stop = CreateEventW(nullptr, TRUE, FALSE, Name("stop"));
    for (int i = 0; i < kEvents; ++i) {
        events[i] = Event(i);
    }
    const auto take = [&] {
        HANDLE all[kEvents + 1] = {CreateEventW(nullptr, TRUE, FALSE, Name("stop"))};
        for (int i = 0; i < kEvents; ++i) {
            all[i + 1] = Event(i);
        }
        DWORD got;
        while ((got = WaitForMultipleObjects(kEvents + 1, all, FALSE, kPatience)) != 0) {
            Expect(*notes.notes, got <= kEvents);
            ++notes->takes[(got - 1) % 8];
        }
    };
    pid_t takers[4];
    for (pid_t& taker : takers) {
        taker = Fork(take);
    }
    for (long done = 0; done < kSets;) {
        bool any = false;
        for (int i = 0; i < kEvents; ++i) {
            if (notes->takes[i] == notes->sets[i] && done < kSets) {
                ++notes->sets[i];
                ++done;
                any = true;
                ASSERT_TRUE(SetEvent(events[i]));
            }
        }
        if (!any) {
            sched_yield();
        }
    }
    for (int i = 0; i < kEvents; ++i) {
        for (int ms = 0; ms < 5000 && notes->takes[i] != notes->sets[i]; ++ms) {
            usleep(1000);
        }
        EXPECT_EQ(notes->takes[i], notes->sets[i]);
        EXPECT_EQ(WaitForSingleObject(events[i], 0), WAIT_TIMEOUT);
        CloseHandle(events[i]);
    }
    EXPECT_TRUE(SetEvent(stop) && std::all_of(takers, takers + 4, Ended) && CloseHandle(stop));
    EXPECT_EQ(notes->failures, 0);
    std::printf("Names %ld\n", kSets);
}

}  // namespace
