// Handles, events, mutexes, waits, threads and files. Both targets must agree here: on Windows this
// runs against the platform itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "support/buffer_text.h"
#include "support/own_name.h"
#include "ztk/platform.h"

namespace {

using namespace ztk_test;

// The platform's constants have several types; these compare with results without warnings.
constexpr DWORD kTaken = WAIT_OBJECT_0, kAbandoned = WAIT_ABANDONED_0, kTimedOut = WAIT_TIMEOUT;
constexpr DWORD kFailed = WAIT_FAILED, kActive = STILL_ACTIVE, kNotOwner = ERROR_NOT_OWNER;
constexpr DWORD kInvalidHandle = ERROR_INVALID_HANDLE, kLong = 10000;  // far beyond any wake-up
constexpr bool kAny = false, kAll = true;

// Closes at the end what a test has opened through it.
struct KernelObjects : testing::Test {
    std::vector<HANDLE> open;

    HANDLE Keep(HANDLE handle) { return open.emplace_back(handle); }
    HANDLE Event(bool manual_reset = false, bool signalled = false) {
        return Keep(CreateEventW(nullptr, manual_reset, signalled, nullptr));
    }
    HANDLE Mutex(bool owned = false) { return Keep(CreateMutexW(nullptr, owned, nullptr)); }
    void TearDown() override { std::for_each(open.begin(), open.end(), CloseHandle); }

    static HANDLE Duplicate(HANDLE source, DWORD options = 0) {
        HANDLE copy = nullptr, self = GetCurrentProcess();
        DuplicateHandle(self, source, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS | options);
        return copy;
    }
    static DWORD Wait(HANDLE on, DWORD time = kLong) { return WaitForSingleObject(on, time); }
    static DWORD WaitFor(bool all, const std::vector<HANDLE>& on, DWORD time = kLong) {
        return WaitForMultipleObjects(DWORD(on.size()), on.data(), all, time);
    }
};

// A thread made by CreateThread; the destructor waits for it.
struct Worker {
    std::function<DWORD()> function;
    DWORD id = 0;
    HANDLE handle;

    explicit Worker(std::function<DWORD()> work, DWORD flags = 0)
        : function(std::move(work)), handle(CreateThread(nullptr, 0, Run, &function, flags, &id)) {}
    ~Worker() { EXPECT_TRUE(Result() != kActive && CloseHandle(handle)); }
    static DWORD WINAPI Run(LPVOID f) { return (*static_cast<std::function<DWORD()>*>(f))(); }

    DWORD Result(DWORD time = kLong) const {
        DWORD code = kActive;
        WaitForSingleObject(handle, time);
        EXPECT_NE(0, GetExitCodeThread(handle, &code));
        return code;
    }
};

TEST_F(KernelObjects, BadHandlesAreRefusedByEveryCall) {
    DWORD code = 0;
    HANDLE event = Event(true, true), mutex = Mutex();
    const struct {
        std::function<bool(HANDLE)> succeeds;
        HANDLE of_a_wrong_kind;
    } calls[] = {
        {SetEvent, mutex},
        {ResetEvent, mutex},
        {ReleaseMutex, event},
        {[](HANDLE on) { return ResumeThread(on) != kFailed; }, event},
        {[&](HANDLE on) { return GetExitCodeThread(on, &code) != 0; }, event},
        {[](HANDLE on) { return Duplicate(on) != nullptr; }, nullptr},
        {CloseHandle, nullptr},
        {[](HANDLE on) { return Wait(on, 0) != kFailed; }, nullptr},
        {[&](HANDLE on) {
             return WaitFor(kAny, {event, on}, 0) != kFailed;
         },
         nullptr},
        {[&](HANDLE on) {
             return WaitFor(kAll, {event, on}, 1) != kFailed;
         },
         nullptr},
    };
    HANDLE closed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(closed);
    for (const auto& call : calls) {
        for (HANDLE bad :
             {call.of_a_wrong_kind, HANDLE{}, reinterpret_cast<HANDLE>(0x7654320), closed}) {
            SetLastError(0);
            EXPECT_FALSE(call.succeeds(bad)) << &call - calls << ", " << bad;
            EXPECT_EQ(kInvalidHandle, GetLastError()) << &call - calls << ", " << bad;
        }
    }
}

TEST_F(KernelObjects, EventsStayWhatTheyWereMadeAndSetTo) {
    for (const bool manual : {false, true}) {
        for (const bool signalled : {false, true}) {
            HANDLE event = Event(manual, signalled);
            EXPECT_EQ(signalled ? kTaken : kTimedOut, Wait(event, 1));
            EXPECT_EQ(signalled && manual ? kTaken : kTimedOut, Wait(event, 0));
            EXPECT_TRUE(SetEvent(event) && SetEvent(event) && Wait(event, 0) == kTaken);
            EXPECT_EQ(manual ? kTaken : kTimedOut, Wait(event, 1));
            EXPECT_TRUE(SetEvent(event) && ResetEvent(event) && Wait(event, 0) == kTimedOut);
        }
    }
}

TEST_F(KernelObjects, AWaitForAnyTakesTheFirstAndOneForAllTakesAllOrNone) {
    HANDLE a = Event(), b = Event(), manual = Event(true, true), mutex = Mutex();
    for (const DWORD time : {0, 1}) {
        EXPECT_TRUE(SetEvent(a) && SetEvent(b));
        EXPECT_EQ(kTaken, WaitFor(kAny, {b, a, manual}, time));
        EXPECT_EQ(kTaken + 1, WaitFor(kAny, {b, a, manual}, time));
        EXPECT_EQ(kTaken + 2, WaitFor(kAny, {b, a, manual}, time));
        EXPECT_EQ(kTimedOut, WaitFor(kAny, {a, b}, time));
        EXPECT_TRUE(SetEvent(a) && WaitFor(kAll, {manual, mutex, a, b}, time) == kTimedOut);
        EXPECT_TRUE(Wait(a, 0) == kTaken && !ReleaseMutex(mutex)) << "it took a part";
        EXPECT_TRUE(SetEvent(a) && SetEvent(b));
        EXPECT_EQ(kTaken, WaitFor(kAll, {manual, mutex, a, b}, time));
        EXPECT_TRUE(ReleaseMutex(mutex) && Wait(a, 0) == kTimedOut && Wait(b, 0) == kTimedOut);
    }
}

TEST_F(KernelObjects, AMutexBelongsToItsOwnerLevelByLevelUntilTheThreadEnds) {
    HANDLE mutex = Mutex(true), other = Mutex(), unset = Event();
    const auto on_thread = [](const std::function<void()>& body) { std::thread(body).join(); };
    const auto not_released = [&] { return !ReleaseMutex(mutex) && GetLastError() == kNotOwner; };
    for (const DWORD time : {0, 1}) {
        EXPECT_EQ(kTaken, Wait(mutex, time));
        for (int level = 0; level < 2; ++level) {
            on_thread([&] {
                EXPECT_EQ(kTimedOut, Wait(mutex, time));
                EXPECT_EQ(kTimedOut, WaitFor(kAll, {other, mutex}, time));
                EXPECT_TRUE(not_released());
            });
            EXPECT_TRUE(ReleaseMutex(mutex));
        }
        EXPECT_TRUE(not_released());
        on_thread([&] { EXPECT_TRUE(Wait(mutex, time) == kTaken && Wait(mutex, time) == kTaken); });
        EXPECT_EQ(kAbandoned, Wait(mutex, time));
        EXPECT_EQ(kTaken, Wait(mutex, time)) << "abandoned is told once";
        EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(mutex) && not_released());
        on_thread([&] { EXPECT_EQ(kTaken, Wait(mutex, time)); });
        EXPECT_EQ(kAbandoned + 1, WaitFor(kAny, {unset, mutex}, time));
        EXPECT_TRUE(ReleaseMutex(mutex));
        on_thread([&] { EXPECT_EQ(kTaken, Wait(mutex, time)); });
        EXPECT_EQ(kAbandoned, WaitFor(kAll, {other, mutex}, time));
        EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(other) && not_released());
        EXPECT_EQ(kTaken, Wait(mutex, 0));
    }
}

TEST_F(KernelObjects, ClosingAHandleDoesNotEndAWaitOnIt) {
    // Whether the other thread waits already cannot be seen from outside. If it came too late, its
    // wait failed, and the next round gives it more time.
    DWORD result = kFailed;
    for (DWORD pause = 1; result == kFailed && pause < 2000; pause *= 2) {
        HANDLE kept = Event();
        HANDLE source = Duplicate(kept);
        HANDLE event = Duplicate(source, DUPLICATE_CLOSE_SOURCE);
        // The platform may give the copy the value of the source that it closed.
        EXPECT_TRUE(event == source || !CloseHandle(source));
        Worker waiter([&] { return Wait(event); });
        Sleep(pause);
        EXPECT_TRUE(CloseHandle(event) && SetEvent(kept));
        result = waiter.Result();
    }
    EXPECT_EQ(kTaken, result);
}

TEST_F(KernelObjects, NamesLeadToTheSameObjectWhileAHandleIsOpen) {
    const wchar_t* const name = OwnName(L"ztk-test");
    SetLastError(77);
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, name);
    EXPECT_EQ(0U, GetLastError());
    HANDLE again = CreateEventW(nullptr, FALSE, TRUE, name);
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
    EXPECT_EQ(kTimedOut, Wait(again, 0)) << "the initial state was not ignored";
    EXPECT_TRUE(!CreateMutexW(nullptr, FALSE, name) && GetLastError() == kInvalidHandle);
    HANDLE other = Keep(CreateEventW(nullptr, TRUE, FALSE, OwnName(L"ztk-tes")));
    EXPECT_TRUE(SetEvent(event) && CloseHandle(event));
    EXPECT_TRUE(Wait(again, 0) == kTaken && Wait(other, 0) == kTimedOut && CloseHandle(again));
    Keep(CreateMutexW(nullptr, TRUE, name));
    EXPECT_EQ(0U, GetLastError());
    Worker second_owner([&] { return Wait(Keep(CreateMutexW(nullptr, TRUE, name)), 0); });
    EXPECT_EQ(kTimedOut, second_owner.Result()) << "an existing mutex changed its owner";
}

TEST_F(KernelObjects, NamesHaveNoBackslashButThatOfTheirNamespace) {
    const std::pair<const wchar_t*, DWORD> rows[] = {
        {L"ztk-x", 0},     {L"Local\\ztk-x", 183}, {L"Global\\ztk-x", 0}, {L"local\\ztk-x", 3},
        {L"ztk\\x", 3},    {L"Local\\ztk\\x", 3},  {L"Local\\\\x", 123},  {L"Global\\", 123},
        {L"\\ztk-x", 161}, {L"Local", 6},
    };
    for (const auto& [name, code] : rows) {
        const bool works = code % 183 == 0;
        HANDLE event = CreateEventW(nullptr, TRUE, FALSE, works ? OwnName(name) : name);
        EXPECT_EQ(code, GetLastError()) << "row " << open.size();
        EXPECT_EQ(works, event != nullptr);
        Keep(event);
    }
    open.erase(std::remove(open.begin(), open.end(), nullptr), open.end());
}

TEST_F(KernelObjects, AWaitForAllTakesNothingUntilAllAreThere) {
    const std::vector<HANDLE> both = {Event(), Event()};
    Worker waiter([&] { return WaitFor(kAll, both); });
    // Whether or not it waits yet, each can be taken from under it.
    EXPECT_TRUE(SetEvent(both[0]) && Wait(both[0]) == kTaken);
    EXPECT_TRUE(SetEvent(both[1]) && Wait(both[1]) == kTaken);
    EXPECT_TRUE(SetEvent(both[0]) && waiter.Result(20) == kActive);
    EXPECT_TRUE(SetEvent(both[1]) && waiter.Result() == kTaken);
    EXPECT_EQ(kTimedOut, WaitFor(kAny, both, 0));
}

TEST_F(KernelObjects, WaitsCoverUpTo64Handles) {
    std::vector<HANDLE> events;
    std::generate_n(std::back_inserter(events), 65, [&] { return Event(); });
    for (const auto& refused : {std::vector<HANDLE>(), events}) {
        SetLastError(0);
        EXPECT_TRUE(WaitFor(kAny, refused, 0) == kFailed && GetLastError() == 87);
    }
    events.pop_back();
    Worker setter([&] { return DWORD(SetEvent(events[63])); });
    EXPECT_EQ(kTaken + 63, WaitFor(kAny, events));
    std::for_each(events.begin(), events.end(), SetEvent);
    EXPECT_EQ(kTaken, WaitFor(kAll, events));
}

TEST_F(KernelObjects, WaitsLastAsLongAsAsked) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(kTimedOut, Wait(Event(), 50));
    Sleep(50);
    // The platform counts in ticks of up to 16 ms and may round down by one.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(66));
}

TEST_F(KernelObjects, EachSetReleasesExactlyOneThread) {
    HANDLE work = Event(), done = Event(), stop = Event(true);
    const auto consume = [&](DWORD time) {
        DWORD released = 0;
        for (DWORD result = kFailed; result != kTaken; result = WaitFor(kAny, {stop, work}, time)) {
            released += result == kTaken + 1 && SetEvent(done);
        }
        return released;
    };
    // Some wait without end, some with time-outs that run out all the time.
    Worker endless([&] { return consume(INFINITE); }), second([&] { return consume(INFINITE); });
    Worker polling([&] { return consume(0); }), hasty([&] { return consume(1); });
    for (int i = 0; i < 3000; ++i) {
        if (!SetEvent(work) || Wait(done) != kTaken) {
            ADD_FAILURE() << "wake-up lost in round " << i;
            break;
        }
    }
    SetEvent(stop);
    EXPECT_EQ(3000U, endless.Result() + second.Result() + polling.Result() + hasty.Result());
}

TEST_F(KernelObjects, WaitsForAllOfSharedMutexesExcludeAndDoNotDeadlock) {
    const HANDLE mutexes[] = {Mutex(), Mutex(), Mutex()};
    std::vector<DWORD> counters(3);
    const auto dine = [&](int left, int right) {
        for (int i = 0; i < 1000; ++i) {
            EXPECT_EQ(kTaken, WaitFor(kAll, {mutexes[left], mutexes[right]}));
            EXPECT_TRUE(++counters[left] && ReleaseMutex(mutexes[left]));
            EXPECT_TRUE(++counters[right] && ReleaseMutex(mutexes[right]));
        }
        return DWORD{0};
    };
    Worker first([&] { return dine(0, 1); }), second([&] { return dine(1, 2); });
    EXPECT_EQ(0U, dine(2, 0) + first.Result() + second.Result());
    EXPECT_EQ(std::vector<DWORD>(3, 2000), counters);
}

TEST_F(KernelObjects, ThreadsStartSuspendedAndRunOnWithoutAHandle) {
    HANDLE go = Event(), taken = Event(), mutex = Mutex();
    DWORD seen_id = 0;
    const auto run = [&] {
        seen_id = GetCurrentThreadId();
        SetLastError(12345);
        EXPECT_TRUE(Wait(mutex) == kTaken && SetEvent(taken) && Wait(go) == kTaken);
        return DWORD{42};
    };
    Worker worker(run, CREATE_SUSPENDED);
    SetLastError(7);
    EXPECT_TRUE(worker.Result(20) == kActive && seen_id == 0) << "it ran";
    EXPECT_TRUE(ResumeThread(worker.handle) == 1 && Wait(taken) == kTaken && seen_id == worker.id);
    EXPECT_EQ(7U, GetLastError()) << "the last error is not the thread's own";
    EXPECT_TRUE(ResumeThread(worker.handle) == 0 && SetEvent(go));
    EXPECT_EQ(kAbandoned, Wait(mutex)) << "the end of the thread was not noticed";
    EXPECT_TRUE(ReleaseMutex(mutex) && worker.Result() == 42);

    CloseHandle(CreateThread(nullptr, 0, Worker::Run, &worker.function, 0, nullptr));
    EXPECT_TRUE(Wait(taken) == kTaken && SetEvent(go));
    EXPECT_EQ(kAbandoned, Wait(mutex)) << "the end of the thread was not noticed";
}

// --- Files by handle, as hosts open and read them

// Reads up to count bytes; "error" and its code if that fails.
std::string Read(HANDLE file, DWORD count) {
    std::array<char, 100> bytes{};
    DWORD read = 77;
    if (ReadFile(file, bytes.data(), count, &read, nullptr) == 0) {
        EXPECT_EQ(read, 0U);
        return "error " + std::to_string(GetLastError());
    }
    return {bytes.data(), read};
}

TEST(Files, WhatCannotBeOpenedSaysWhy) {
    const std::pair<const char*, DWORD> cases[] = {{"no-such-file", ERROR_FILE_NOT_FOUND},
                                                   {"./no-such-file", ERROR_FILE_NOT_FOUND},
                                                   {"no-such-folder/file", ERROR_PATH_NOT_FOUND},
                                                   {"", ERROR_PATH_NOT_FOUND},
                                                   {".", ERROR_ACCESS_DENIED},
                                                   {"..", ERROR_ACCESS_DENIED}};
    for (const auto& [path, error] : cases) {
        EXPECT_EQ(OpenToRead(path), INVALID_HANDLE_VALUE) << path;
        EXPECT_EQ(GetLastError(), error) << path;
    }
}

TEST(Files, AreReadFromFrontToEnd) {
    TestFile file("0123456789");
    SetLastError(77);
    HANDLE const handle = OpenToRead(file.Name());
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    DWORD high = 42;
    EXPECT_EQ(GetFileSize(handle, &high), 10U);
    EXPECT_EQ(high, 0U);
    EXPECT_EQ(Read(handle, 4), "0123");
    HANDLE second = nullptr;  // of the same opened file, so it reads on
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &second, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    HANDLE const again = OpenToRead(file.Name());
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(Read(second, 3), "456");
    EXPECT_EQ(Read(again, 3), "012");
    EXPECT_EQ(Read(second, 0), "");
    EXPECT_EQ(Read(second, 50), "789");
    EXPECT_EQ(Read(second, 50), "");
    EXPECT_EQ(GetFileSize(second, nullptr), 10U);
    EXPECT_TRUE(CloseHandle(second));
    EXPECT_TRUE(CloseHandle(again));
}

TEST(Files, OnlyOpenFileHandlesServe) {
    TestFile file("x");
    HANDLE const closed = OpenToRead(file.Name());
    EXPECT_TRUE(CloseHandle(closed));
    for (HANDLE handle : {closed, HANDLE{}, INVALID_HANDLE_VALUE}) {
        EXPECT_EQ(GetFileSize(handle, nullptr), INVALID_FILE_SIZE);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
        EXPECT_EQ(Read(handle, 1), "error 6");
    }
    HANDLE const open = OpenToRead(file.Name());
    EXPECT_FALSE(SetEvent(open));
    EXPECT_FALSE(ReleaseMutex(open));
    EXPECT_TRUE(CloseHandle(open));
}

TEST(Files, TellSizesBeyond32Bits) {
    TestFile file("");
    std::FILE* const stream = file.Open("r+b");
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(std::fseek(stream, 0x7FFFFFFF, SEEK_CUR), 0);
    }
    std::fputc('x', stream);
    std::fflush(stream);
    HANDLE const handle = OpenToRead(file.Name());
    DWORD high = 0;
    EXPECT_EQ(GetFileSize(handle, &high), 0x7FFFFFFEU);
    EXPECT_EQ(high, 1U);
    EXPECT_TRUE(CloseHandle(handle));
}

}  // namespace
