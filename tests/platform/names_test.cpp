// Named events and mutexes between processes. The other processes are this program, started to play
// a part, and the parts meet at named events. Both targets must agree here.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <map>
#include <string>
#include <vector>

#include "support/environment.h"
#include "ztk/platform.h"
#include "ztk/strings.h"

namespace {

constexpr DWORD kTaken = WAIT_OBJECT_0, kAbandoned = WAIT_ABANDONED_0, kTimedOut = WAIT_TIMEOUT;
constexpr DWORD kExists = ERROR_ALREADY_EXISTS, kInvalid = ERROR_INVALID_HANDLE, kLong = 20000;

std::string program, prefix;  // prefix: what no other run of this program has in its names

LPCWSTR Name(const std::string& name) {
    const std::size_t space = name.find('\\') + 1;
    return ZTK::StrFormat(L"%hs%hs%hs", name.substr(0, space).c_str(), prefix.c_str(),
                          name.substr(space).c_str());
}

HANDLE Event(const std::string& name, BOOL manual = FALSE) {
    return CreateEventW(nullptr, manual, FALSE, Name(name));
}
HANDLE Mutex(const std::string& name, BOOL owned = FALSE) {
    return CreateMutexW(nullptr, owned, Name(name));
}
DWORD Wait(HANDLE on, DWORD time = kLong) {
    return WaitForSingleObject(on, time);
}
DWORD WaitFor(bool all, std::vector<HANDLE> on, DWORD time = kLong) {
    return WaitForMultipleObjects(static_cast<DWORD>(on.size()), on.data(), all, time);
}

// The parts return 0, or the number of what went wrong; "count" returns how often it was released.

int OpenAll() {
    HANDLE const event = Event("Local\\event", TRUE);
    if (GetLastError() != kExists || Wait(event, 0) != kTimedOut) {
        return 1;
    }
    if (Mutex("event") != nullptr || GetLastError() != kInvalid) {
        return 2;
    }
    HANDLE const global = Event("Global\\event", TRUE);
    if (GetLastError() != 0 || !SetEvent(global)) {
        return 3;
    }
    HANDLE const mutex = Mutex("mutex", TRUE);
    if (GetLastError() != kExists || Wait(mutex, 0) != kTimedOut || ReleaseMutex(mutex)) {
        return 4;
    }
    HANDLE const local = CreateEventW(nullptr, TRUE, FALSE, nullptr), token = Event("token");
    if (!SetEvent(event) || WaitFor(true, {token, mutex, event}) != kTaken ||
        WaitFor(false, {local, token, event}, 0) != kTaken + 2) {
        return 5;
    }
    return ReleaseMutex(mutex) && ResetEvent(event) ? 0 : 6;
}

// Ends as the owner of two mutexes, once the others may wait for them.
int OwnAndEnd() {
    HANDLE const owned[] = {Mutex("first"), Mutex("second")};
    if (WaitFor(true, {owned[0], owned[1]}) != kTaken || Wait(owned[0]) != kTaken ||
        !SetEvent(Event("ready"))) {
        return 1;
    }
    (void)Wait(Event("end"));
    Sleep(20);
    std::_Exit(0);
}

int Count() {
    HANDLE const stop = Event("stop", TRUE), work = Event("work"), done = Event("done");
    HANDLE const local = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    int count = 0;
    DWORD got;
    while ((got = WaitFor(false, {stop, local, work})) == kTaken + 2) {
        count += SetEvent(done);
    }
    return got == kTaken ? count : 99;
}

int Hold() {
    HANDLE const held = Event("held", TRUE);
    return held != nullptr && SetEvent(held) && Wait(Event("end")) == kTaken ? 0 : 1;
}

const std::map<std::string, int (*)()> kParts = {
    {"open", OpenAll}, {"own", OwnAndEnd}, {"count", Count}, {"hold", Hold}};

// Another process that plays a part.
std::future<int> Play(const std::string& part) {
    return std::async(std::launch::async, [part] {
        const int status = std::system((program + " --play " + part + " " + prefix).c_str());
        return status > 255 ? status >> 8 : status;  // Linux has the exit code in the second byte
    });
}

// A prefix of its own for each test, since a process that was started late may still have names.
struct Names : testing::Test {
    std::vector<HANDLE> open;

    Names() {
        const auto now = std::chrono::system_clock::now().time_since_epoch().count();
        prefix = "ztk-test-" + std::to_string(now) + "-";
    }
    void SetUp() override {
        if (!ztk_test::NamesAreShared()) {
            GTEST_SKIP() << "processes cannot share names on this system";
        }
    }
    HANDLE Keep(HANDLE handle) { return open.emplace_back(handle); }
    void TearDown() override { std::for_each(open.begin(), open.end(), CloseHandle); }
};

TEST_F(Names, MeanTheSameObjectInAllProcesses) {
    HANDLE const event = Keep(Event("event", TRUE)), mutex = Keep(Mutex("mutex", TRUE));
    HANDLE const token = Keep(Event("token"));
    auto other = Play("open");
    EXPECT_EQ(Wait(event), kTaken) << "the other's signal has not arrived";
    EXPECT_TRUE(ReleaseMutex(mutex) && SetEvent(token));
    EXPECT_EQ(other.get(), 0);
    EXPECT_TRUE(Wait(event, 0) == kTimedOut && Wait(token, 0) == kTimedOut);
    EXPECT_EQ(Wait(mutex, 0), kTaken);
}

TEST_F(Names, OfMutexesOfAnEndedProcessAreAbandonedOnce) {
    HANDLE const first = Keep(Mutex("first")), second = Keep(Mutex("second"));
    HANDLE const ready = Keep(Event("ready")), end = Keep(Event("end")), no = Keep(Event("no"));
    for (const bool waits : {true, false}) {
        for (const bool all : {false, true}) {
            auto owner = Play("own");
            ASSERT_EQ(Wait(ready), kTaken);
            EXPECT_EQ(WaitFor(false, {first, second}, 0), kTimedOut);
            EXPECT_TRUE(SetEvent(end));
            EXPECT_TRUE(waits || owner.get() == 0);
            if (all) {
                EXPECT_EQ(WaitFor(true, {first, second}), kAbandoned);
            } else {
                EXPECT_EQ(WaitFor(false, {no, first}), kAbandoned + 1);
                EXPECT_EQ(Wait(second), kAbandoned);
            }
            EXPECT_TRUE(!waits || owner.get() == 0);
            EXPECT_EQ(WaitFor(true, {first, second}), kTaken) << "told twice";
            for (HANDLE mutex : {first, second, first, second}) {
                EXPECT_TRUE(ReleaseMutex(mutex));
            }
        }
    }
}

TEST_F(Names, GiveEachSignalToOneProcess) {
    HANDLE const stop = Keep(Event("stop", TRUE)), work = Keep(Event("work"));
    HANDLE const done = Keep(Event("done"));
    std::vector<std::future<int>> others;
    for (int i = 0; i < 3; ++i) {
        others.push_back(Play("count"));
    }
    for (int i = 0; i < 90; ++i) {
        ASSERT_TRUE(SetEvent(work) && Wait(done) == kTaken) << i;
    }
    EXPECT_TRUE(SetEvent(stop));
    int sum = 0;
    for (auto& other : others) {
        sum += other.get();
    }
    EXPECT_EQ(sum, 90);
    EXPECT_EQ(Wait(work, 0), kTimedOut);
}

TEST_F(Names, GoWithTheLastHandleInAnyProcess) {
    HANDLE const end = Keep(Event("end")), held = Event("held", TRUE);
    auto other = Play("hold");
    EXPECT_TRUE(Wait(held) == kTaken && CloseHandle(held));
    HANDLE const again = Event("held");
    EXPECT_TRUE(GetLastError() == kExists && Wait(again, 0) == kTaken && Wait(again, 0) == kTaken);
    EXPECT_TRUE(SetEvent(end) && CloseHandle(again));
    EXPECT_EQ(other.get(), 0);
    HANDLE const fresh = Keep(Mutex("held"));
    EXPECT_TRUE(fresh != nullptr && GetLastError() == 0);
}

}  // namespace

int main(int argc, char** argv) {
    program = argv[0];
    if (argc == 4 && argv[1] == std::string("--play")) {
        prefix = argv[3];
        return kParts.at(argv[2])();
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
