// Waits of several threads for the same objects: each signal wakes one of them, none is lost, and
// what a wait has taken nobody else has.
#include "support/loopback.h"
#include "ztk/handle_set.h"

static HANDLE tokens[64];  // auto-reset events and mutexes in turn, and whether somebody has them
static std::atomic<bool> held[64];

static void TakeAndGiveBack() {
    const unsigned count = 1 + std::rand() % (std::rand() % 8 == 0 ? 64 : 4);
    const unsigned first = std::rand() % 64, step = 1 + 2 * (std::rand() % 32);  // odd: none twice
    const auto token = [=](unsigned i) { return (first + i * step) % 64; };
    HANDLE chosen[64];
    ZTK::CSASync set;  // of the first 16, which it neither signals nor closes
    for (unsigned i = 0; i < count; ++i) {
        set.SetHandle(chosen[i] = tokens[token(i)], i, ZTK::SyncTypeNone);
    }
    const bool in_set = count <= 16 && std::rand() % 4 == 0, all = !in_set && std::rand() % 2 == 0;
    const DWORD got = in_set ? set.Wait((1U << count) - 1, std::rand() % 3)
                             : WaitForMultipleObjects(count, chosen, all, std::rand() % 3);
    EXPECT_TRUE(got < count || got == (in_set ? ZTK::CSASync::SyncTimeout : WAIT_TIMEOUT)) << got;
    const unsigned begin = all ? 0 : got, end = got >= count ? begin : all ? count : got + 1;
    for (unsigned i = begin; i < end; ++i) {
        EXPECT_FALSE(held[token(i)].exchange(true)) << "another has the token";
    }
    for (unsigned i = begin; i < end; ++i) {
        held[token(i)] = false;
        EXPECT_TRUE((token(i) % 2 == 0 ? SetEvent : ReleaseMutex)(chosen[i]));
    }
}

// Ends with a mutex, which the next one gets as abandoned.
static DWORD Work(LPVOID gate) {
    static HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    EXPECT_EQ(WaitForSingleObject(gate, ztk_test::kPatience), WAIT_OBJECT_0);
    for (int i = 0; i < 10'000; ++i) {
        TakeAndGiveBack();
    }
    return WaitForSingleObject(mutex, ztk_test::kPatience) % WAIT_ABANDONED;
}

TEST(Waits, GiveEachSignalToOneThread) {
    for (int i = 0; tokens[63] == nullptr; ++i) {
        tokens[i] = i % 2 == 0 ? CreateEventW(nullptr, FALSE, TRUE, nullptr)
                               : CreateMutexW(nullptr, FALSE, nullptr);
    }
    ztk_test::Gate gate;
    HANDLE threads[6];
    for (HANDLE& thread : threads) {
        thread = CreateThread(nullptr, 0, Work, gate.event, 0, nullptr);
    }
    gate.Open();
    EXPECT_EQ(WaitForMultipleObjects(6, threads, TRUE, ztk_test::kPatience), WAIT_OBJECT_0);
    DWORD code = 1;
    for (HANDLE thread : threads) {
        EXPECT_TRUE(GetExitCodeThread(thread, &code) && code == 0 && CloseHandle(thread));
    }
    EXPECT_EQ(WaitForMultipleObjects(64, tokens, TRUE, 0), WAIT_OBJECT_0) << "a token was lost";
    for (int i = 0; i < 64; ++i) {
        EXPECT_TRUE((i % 2 == 0 ? SetEvent : ReleaseMutex)(tokens[i]));
    }
    std::puts("Waits 60000");
}
