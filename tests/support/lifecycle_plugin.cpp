// A plugin of a host, the usual way in which the library is loaded late and unloaded early.
#include <atomic>

#include "ztk/ztk.h"

namespace {

std::atomic<int> threads_run;

DWORD CountRun(LPVOID) {
    return static_cast<DWORD>(++threads_run);
}

DWORD LogForEver(LPVOID mutex) {
    for (;;) {
        WaitForSingleObject(mutex, INFINITE);
        ZTKTrace(L"%d\n", static_cast<int>(GetCurrentThreadId()));
        ZTK::LogTextW(L"still running");
        ReleaseMutex(mutex);
    }
}

HANDLE NewThread(LPTHREAD_START_ROUTINE start, LPVOID parameter = nullptr, DWORD flags = 0) {
    return CreateThread(nullptr, 0, start, parameter, flags, nullptr);
}

}  // namespace

extern "C" {

// Uses everything that holds something and leaves it behind. Returns the number of threads that
// ran.
[[gnu::visibility("default")]] int UseAndLeave() {
    ZTKOpenTraceLog(L"/dev/null");
    ZTK::EnableLogging(true, 0);
    unsigned char bytes[100] = {};
    ZTK::LogHex(L"bytes", bytes, sizeof bytes);
    (void)ZTK::StrFormat("%d", 1);
    (void)ZTK::StrFormat(L"%d", 1);
    ZTK::RegisterThread(1, nullptr);
    const LPCWSTR strings[ZTKPosix::kStringsPerBlock] = {L"left to be freed"};
    ZTKPosix::AddStringBlock(&threads_run, 1, strings);
    (void)CreateEventW(nullptr, TRUE, FALSE, L"left open");
    (void)CreateMutexW(nullptr, TRUE, L"left open and owned");
    CloseHandle(CreateMutexW(nullptr, TRUE, nullptr));

    HANDLE threads[] = {NewThread(CountRun), NewThread(CountRun), NewThread(CountRun)};
    WaitForMultipleObjects(3, threads, TRUE, INFINITE);
    CloseHandle(threads[0]);
    (void)NewThread(CountRun, nullptr, CREATE_SUSPENDED);
    CloseHandle(NewThread(CountRun, nullptr, CREATE_SUSPENDED));
    return threads_run;
}

// Starts threads that log, allocate and take locks until the process is gone.
[[gnu::visibility("default")]] int StartEndlessThreads() {
    ZTKOpenTraceLog(L"/dev/null");
    ZTK::EnableLogging(true, 0);
    HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    for (int i = 0; i < 4; ++i) {
        CloseHandle(NewThread(LogForEver, mutex));
    }
    return NewThread(LogForEver, mutex, CREATE_SUSPENDED) == nullptr;
}
}
