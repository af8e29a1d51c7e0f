// Handles, events, mutexes, waits and threads. Both targets must agree here: on Windows this runs
// against the platform itself.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "ztk/platform.h"

namespace {

constexpr DWORD kLong = 30000;  // far beyond any wake-up

// The platform's constants have several types; these compare with results without warnings.
constexpr DWORD kTaken = WAIT_OBJECT_0;
constexpr DWORD kAbandoned = WAIT_ABANDONED_0;
constexpr DWORD kTimedOut = WAIT_TIMEOUT;
constexpr DWORD kFailed = WAIT_FAILED;
constexpr DWORD kActive = STILL_ACTIVE;
constexpr DWORD kExists = ERROR_ALREADY_EXISTS;
constexpr DWORD kInvalidHandle = ERROR_INVALID_HANDLE;
constexpr DWORD kInvalidParameter = ERROR_INVALID_PARAMETER;
constexpr DWORD kNotOwner = ERROR_NOT_OWNER;

HANDLE NewEvent(bool manual_reset = false, bool signalled = false) {
    return CreateEventW(nullptr, manual_reset, signalled, nullptr);
}

DWORD WINAPI RunFunction(LPVOID function) {
    return (*static_cast<std::function<DWORD()>*>(function))();
}

// A thread made by CreateThread; the destructor waits for it.
class Worker {
  public:
    explicit Worker(std::function<DWORD()> function, DWORD flags = 0)
        : function_(std::move(function)),
          handle_(CreateThread(nullptr, 0, RunFunction, &function_, flags, &id_)) {}
    ~Worker() {
        Join();
        CloseHandle(handle_);
    }
    HANDLE handle() const { return handle_; }
    DWORD id() const { return id_; }
    void Join() const { EXPECT_EQ(kTaken, WaitForSingleObject(handle_, kLong)); }
    DWORD ExitCode() const {
        DWORD code = 0;
        EXPECT_NE(0, GetExitCodeThread(handle_, &code));
        return code;
    }

  private:
    std::function<DWORD()> function_;
    DWORD id_ = 0;
    HANDLE handle_;
};

TEST(Events, KeepTheirStateAsTheirKindSays) {
    struct Row {
        bool manual, signalled;
        const char* steps;  // s set, r reset, w a wait succeeds, t a wait times out
    };
    const Row rows[] = {
        {false, false, "tswt"}, {false, true, "wt"},       {false, false, "sswt"},
        {false, false, "srt"},  {true, false, "tswwswrt"}, {true, true, "wwrrt"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.steps);
        HANDLE event = NewEvent(row.manual, row.signalled);
        ASSERT_NE(nullptr, event);
        for (const char* step = row.steps; *step != '\0'; ++step) {
            SCOPED_TRACE(step);
            switch (*step) {
                case 's':
                    EXPECT_NE(0, SetEvent(event));
                    break;
                case 'r':
                    EXPECT_NE(0, ResetEvent(event));
                    break;
                case 'w':
                    EXPECT_EQ(kTaken, WaitForSingleObject(event, 0));
                    break;
                default:
                    EXPECT_EQ(kTimedOut, WaitForSingleObject(event, 0));
                    break;
            }
        }
        EXPECT_NE(0, CloseHandle(event));
    }
}

TEST(Handles, ThatAreNotOpenOrOfTheWrongKindAreRefused) {
    HANDLE closed = NewEvent();
    HANDLE event = NewEvent();
    HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    CloseHandle(closed);  // the last: the platform soon uses a value again
    const HANDLE invented = reinterpret_cast<HANDLE>(0x7654320);
    DWORD code = 0;
    HANDLE copy = nullptr;
    struct Call {
        const char* name;
        std::function<DWORD(HANDLE)> run;
        DWORD failure;
        std::vector<HANDLE> wrong_kind;
    };
    const Call calls[] = {
        {"SetEvent", [](HANDLE h) { return DWORD(SetEvent(h)); }, 0, {mutex}},
        {"ResetEvent", [](HANDLE h) { return DWORD(ResetEvent(h)); }, 0, {mutex}},
        {"ReleaseMutex", [](HANDLE h) { return DWORD(ReleaseMutex(h)); }, 0, {event}},
        {"ResumeThread", [](HANDLE h) { return ResumeThread(h); }, 0xFFFFFFFF, {event, mutex}},
        {"GetExitCodeThread",
         [&](HANDLE h) { return DWORD(GetExitCodeThread(h, &code)); },
         0,
         {event}},
        {"wait", [](HANDLE h) { return WaitForSingleObject(h, INFINITE); }, kFailed, {}},
        {"wait for one of two",
         [&](HANDLE h) {
             const HANDLE both[] = {event, h};
             return WaitForMultipleObjects(2, both, FALSE, INFINITE);
         },
         kFailed,
         {}},
        {"DuplicateHandle",
         [&](HANDLE h) {
             return DWORD(DuplicateHandle(GetCurrentProcess(), h, GetCurrentProcess(), &copy, 0,
                                          FALSE, DUPLICATE_SAME_ACCESS));
         },
         0,
         {}},
        {"CloseHandle", [](HANDLE h) { return DWORD(CloseHandle(h)); }, 0, {}},
    };
    for (const Call& call : calls) {
        std::vector<HANDLE> bad = {nullptr, closed, invented};
        bad.insert(bad.end(), call.wrong_kind.begin(), call.wrong_kind.end());
        for (HANDLE handle : bad) {
            SetLastError(0);
            EXPECT_EQ(call.failure, call.run(handle)) << call.name << ' ' << handle;
            EXPECT_EQ(kInvalidHandle, GetLastError()) << call.name << ' ' << handle;
        }
    }
    CloseHandle(event);
    CloseHandle(mutex);
}

TEST(Handles, OfOneObjectAreClosedOneByOne) {
    HANDLE event = NewEvent();
    HANDLE second = nullptr;
    ASSERT_NE(0, DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &second, 0, FALSE,
                                 DUPLICATE_SAME_ACCESS));
    EXPECT_NE(event, second);
    EXPECT_NE(0, CloseHandle(event));
    EXPECT_EQ(0, CloseHandle(event));
    EXPECT_NE(0, SetEvent(second));
    HANDLE third = nullptr;
    ASSERT_NE(0, DuplicateHandle(GetCurrentProcess(), second, GetCurrentProcess(), &third, 0, FALSE,
                                 DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE));
    EXPECT_EQ(kTaken, WaitForSingleObject(third, 0));
    EXPECT_NE(0, CloseHandle(third));
}

TEST(Handles, ClosingOneDoesNotEndAWaitOnIt) {
    // Whether the other thread waits already cannot be seen from outside. If it came too late, its
    // wait failed, and the next round gives it more time.
    DWORD result = kFailed;
    for (DWORD pause = 1; result == kFailed && pause < 2000; pause *= 2) {
        HANDLE event = NewEvent();
        HANDLE second = nullptr;
        DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &second, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
        Worker waiter([&] { return WaitForSingleObject(event, kLong); });
        Sleep(pause);
        CloseHandle(event);
        SetEvent(second);
        waiter.Join();
        result = waiter.ExitCode();
        CloseHandle(second);
    }
    EXPECT_EQ(kTaken, result);
}

TEST(Names, LeadToTheSameObjectWhileAHandleIsOpen) {
    SetLastError(77);
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, L"ztk-test-name");
    EXPECT_EQ(0U, GetLastError());
    HANDLE again = CreateEventW(nullptr, FALSE, TRUE, L"ztk-test-name");
    EXPECT_EQ(kExists, GetLastError());
    EXPECT_NE(event, again);
    EXPECT_EQ(kTimedOut, WaitForSingleObject(again, 0)) << "the initial state was not ignored";
    EXPECT_EQ(nullptr, CreateMutexW(nullptr, FALSE, L"ztk-test-name"));
    EXPECT_EQ(kInvalidHandle, GetLastError());
    HANDLE other = CreateEventW(nullptr, TRUE, FALSE, L"ztk-test-nam");
    EXPECT_EQ(0U, GetLastError());
    SetEvent(event);
    CloseHandle(event);
    EXPECT_EQ(kTaken, WaitForSingleObject(again, 0));
    EXPECT_EQ(kTimedOut, WaitForSingleObject(other, 0));
    CloseHandle(again);
    CloseHandle(other);
    HANDLE fresh = CreateMutexW(nullptr, TRUE, L"ztk-test-name");
    EXPECT_EQ(0U, GetLastError());
    Worker second_owner([] {
        HANDLE mutex = CreateMutexW(nullptr, TRUE, L"ztk-test-name");
        const DWORD result = WaitForSingleObject(mutex, 0);
        CloseHandle(mutex);
        return result;
    });
    second_owner.Join();
    EXPECT_EQ(kTimedOut, second_owner.ExitCode()) << "an existing mutex changed its owner";
    CloseHandle(fresh);
}

TEST(Mutexes, AreReleasedAsOftenAsTheirOwnerTookThem) {
    HANDLE mutex = CreateMutexW(nullptr, TRUE, nullptr);
    EXPECT_EQ(kTaken, WaitForSingleObject(mutex, 0));
    const auto try_from_elsewhere = [&] {
        Worker other([&] {
            const DWORD result = WaitForSingleObject(mutex, 0);
            if (ReleaseMutex(mutex) == 0) {
                EXPECT_EQ(kNotOwner, GetLastError());
            }
            return result;
        });
        other.Join();
        return other.ExitCode();
    };
    EXPECT_EQ(kTimedOut, try_from_elsewhere());
    EXPECT_NE(0, ReleaseMutex(mutex));
    EXPECT_EQ(kTimedOut, try_from_elsewhere());
    EXPECT_NE(0, ReleaseMutex(mutex));
    EXPECT_EQ(kTaken, try_from_elsewhere());
    EXPECT_EQ(0, ReleaseMutex(mutex));
    EXPECT_EQ(kNotOwner, GetLastError());
    CloseHandle(mutex);
}

TEST(Mutexes, WhoseOwnerEndedAreAbandonedOnce) {
    HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    HANDLE event = NewEvent(true, true);
    const auto take_twice = [&] {
        WaitForSingleObject(mutex, kLong);
        return WaitForSingleObject(mutex, kLong);
    };
    const HANDLE any[] = {NewEvent(), mutex};
    const HANDLE all[] = {event, mutex};
    const std::function<DWORD()> waits[] = {
        [&] { return WaitForSingleObject(mutex, kLong); },
        [&] { return WaitForMultipleObjects(2, any, FALSE, kLong) - 1; },
        [&] { return WaitForMultipleObjects(2, all, TRUE, kLong); },
    };
    for (const auto& wait : waits) {
        for (const bool foreign : {false, true}) {
            if (foreign) {
                std::thread([&] { take_twice(); }).join();
            } else {
                Worker(take_twice).Join();
            }
            EXPECT_EQ(kAbandoned, wait());
            EXPECT_EQ(kTaken, WaitForSingleObject(mutex, 0));
            EXPECT_NE(0, ReleaseMutex(mutex));
            EXPECT_NE(0, ReleaseMutex(mutex));
            EXPECT_EQ(0, ReleaseMutex(mutex));
        }
    }
    // The waiter is there before the owner ends: the wait is ended by the thread's end.
    HANDLE taken = NewEvent();
    Worker owner([&] {
        take_twice();
        SetEvent(taken);
        return DWORD{0};
    });
    WaitForSingleObject(taken, kLong);
    EXPECT_EQ(kAbandoned, WaitForSingleObject(mutex, kLong));
    for (HANDLE handle : {mutex, event, any[0], taken}) {
        CloseHandle(handle);
    }
}

TEST(Waits, ForAnyTakeOnlyTheLowestSignalled) {
    HANDLE events[] = {NewEvent(), NewEvent(), NewEvent()};
    struct Row {
        std::array<bool, 3> set;
        DWORD first, second;
    };
    const Row rows[] = {
        {{false, true, true}, 1, 2},
        {{true, false, true}, 0, 2},
        {{false, false, true}, 2, kTimedOut},
        {{false, false, false}, kTimedOut, kTimedOut},
    };
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.set.size(); ++i) {
            row.set[i] ? SetEvent(events[i]) : ResetEvent(events[i]);
        }
        EXPECT_EQ(row.first, WaitForMultipleObjects(3, events, FALSE, 0));
        EXPECT_EQ(row.second, WaitForMultipleObjects(3, events, FALSE, 0));
    }
    for (HANDLE event : events) {
        CloseHandle(event);
    }
}

TEST(Waits, ForAllTakeNothingUntilAllAreThere) {
    HANDLE first = NewEvent();
    HANDLE second = NewEvent();
    const HANDLE both[] = {first, second};
    SetEvent(first);
    for (const DWORD time_out : {0, 20}) {
        EXPECT_EQ(kTimedOut, WaitForMultipleObjects(2, both, TRUE, time_out));
    }
    Worker waiter([&] { return WaitForMultipleObjects(2, both, TRUE, kLong); });
    // Whether or not it waits yet, each can be taken from under it.
    EXPECT_EQ(kTaken, WaitForSingleObject(first, kLong));
    SetEvent(second);
    EXPECT_EQ(kTaken, WaitForSingleObject(second, kLong));
    SetEvent(first);
    EXPECT_EQ(kActive, waiter.ExitCode());
    SetEvent(second);
    waiter.Join();
    EXPECT_EQ(kTaken, waiter.ExitCode());
    EXPECT_EQ(kTimedOut, WaitForMultipleObjects(2, both, FALSE, 0));
    CloseHandle(first);
    CloseHandle(second);
}

TEST(Waits, CoverUpTo64Handles) {
    std::vector<HANDLE> events(MAXIMUM_WAIT_OBJECTS + 1);
    for (HANDLE& event : events) {
        event = NewEvent();
    }
    for (const DWORD count : {0, 65}) {
        SetLastError(0);
        EXPECT_EQ(kFailed, WaitForMultipleObjects(count, events.data(), FALSE, 0)) << count;
        EXPECT_EQ(kInvalidParameter, GetLastError()) << count;
    }
    Worker setter([&] { return DWORD(SetEvent(events[63])); });
    EXPECT_EQ(kTaken + 63, WaitForMultipleObjects(64, events.data(), FALSE, kLong));
    for (HANDLE event : events) {
        SetEvent(event);
    }
    EXPECT_EQ(kTaken, WaitForMultipleObjects(64, events.data(), TRUE, kLong));
    for (HANDLE event : events) {
        CloseHandle(event);
    }
}

TEST(Waits, LastAsLongAsAsked) {
    HANDLE event = NewEvent();
    const std::function<void()> pauses[] = {
        [&] { EXPECT_EQ(kTimedOut, WaitForSingleObject(event, 50)); },
        [] { Sleep(50); },
    };
    for (const auto& pause : pauses) {
        const auto begin = std::chrono::steady_clock::now();
        pause();
        // The platform counts in ticks of up to 16 ms and may round down by one.
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(33));
    }
    CloseHandle(event);
}

TEST(Waits, ReleaseExactlyOneThreadForEachSet) {
    constexpr int kSets = 3000;
    HANDLE work = NewEvent();
    HANDLE done = NewEvent();
    HANDLE stop = NewEvent(true);
    // Some consumers wait without end, some with time-outs that run out all the time, some for
    // both.
    const auto consume = [&](DWORD time_out) {
        const HANDLE handles[] = {stop, work};
        DWORD released = 0;
        for (;;) {
            const DWORD result = WaitForMultipleObjects(2, handles, FALSE, time_out);
            if (result == kTaken) {
                return released;
            }
            if (result == kTaken + 1) {
                ++released;
                SetEvent(done);
            }
        }
    };
    Worker consumers[] = {Worker([&] { return consume(INFINITE); }),
                          Worker([&] { return consume(0); }), Worker([&] { return consume(1); }),
                          Worker([&] { return consume(INFINITE); })};
    for (int i = 0; i < kSets; ++i) {
        SetEvent(work);
        ASSERT_EQ(kTaken, WaitForSingleObject(done, kLong)) << "wake-up lost in round " << i;
    }
    SetEvent(stop);
    DWORD released = 0;
    for (const Worker& consumer : consumers) {
        consumer.Join();
        released += consumer.ExitCode();
    }
    EXPECT_EQ(DWORD{kSets}, released);
    for (HANDLE handle : {work, done, stop}) {
        CloseHandle(handle);
    }
}

TEST(Waits, ForAllOfSharedMutexesExcludeAndDoNotDeadlock) {
    constexpr int kRounds = 1000;
    HANDLE mutexes[3];
    for (HANDLE& mutex : mutexes) {
        mutex = CreateMutexW(nullptr, FALSE, nullptr);
    }
    int counters[3] = {};
    const auto dine = [&](int seat) {
        const int left = seat;
        const int right = (seat + 1) % 3;
        const HANDLE both[] = {mutexes[left], mutexes[right]};
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_EQ(kTaken, WaitForMultipleObjects(2, both, TRUE, kLong));
            ++counters[left];
            ++counters[right];
            ReleaseMutex(both[0]);
            ReleaseMutex(both[1]);
        }
        return DWORD{0};
    };
    {
        Worker workers[] = {Worker([&] { return dine(0); }), Worker([&] { return dine(1); }),
                            Worker([&] { return dine(2); })};
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(2 * kRounds, counters[i]);
        CloseHandle(mutexes[i]);
    }
}

TEST(Threads, StartSuspendedAndRunWhenResumed) {
    bool ran = false;
    DWORD seen_id = 0;
    Worker worker(
        [&] {
            ran = true;
            seen_id = GetCurrentThreadId();
            SetLastError(12345);
            return DWORD{42};
        },
        CREATE_SUSPENDED);
    SetLastError(7);
    EXPECT_NE(0U, worker.id());
    EXPECT_NE(GetCurrentThreadId(), worker.id());
    EXPECT_EQ(kTimedOut, WaitForSingleObject(worker.handle(), 20));
    EXPECT_FALSE(ran);
    EXPECT_EQ(kActive, worker.ExitCode());
    EXPECT_EQ(1U, ResumeThread(worker.handle()));
    worker.Join();
    EXPECT_TRUE(ran);
    EXPECT_EQ(worker.id(), seen_id);
    EXPECT_EQ(42U, worker.ExitCode());
    EXPECT_EQ(7U, GetLastError()) << "the last error is not the thread's own";
}

TEST(Threads, RunOnWithoutAHandle) {
    HANDLE go = NewEvent();
    HANDLE taken = NewEvent();
    HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    std::function<DWORD()> run = [&] {
        WaitForSingleObject(mutex, kLong);
        SetEvent(taken);
        return WaitForSingleObject(go, kLong);
    };
    HANDLE thread = CreateThread(nullptr, 0, RunFunction, &run, 0, nullptr);
    EXPECT_EQ(0U, ResumeThread(thread));
    EXPECT_NE(0, CloseHandle(thread));
    EXPECT_EQ(kTaken, WaitForSingleObject(taken, kLong));
    SetEvent(go);
    EXPECT_EQ(kAbandoned, WaitForSingleObject(mutex, kLong))
        << "the end of the thread was not noticed";
    for (HANDLE handle : {go, taken, mutex}) {
        CloseHandle(handle);
    }
}

}  // namespace
