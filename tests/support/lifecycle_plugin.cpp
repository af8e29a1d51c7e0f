// A plugin of a host, the usual way in which the library is loaded late and unloaded early.
#include <atomic>
#include <cstdint>

#include "ztk/ztk.h"

namespace {

std::atomic<int> threads_run;

DWORD WINAPI CountRun(LPVOID) {
    return static_cast<DWORD>(++threads_run);
}

DWORD WINAPI LogForEver(LPVOID mutex) {
    for (;;) {
        WaitForSingleObject(mutex, INFINITE);
        ZTKTrace(L"%d\n", static_cast<int>(GetCurrentThreadId()));
        ZTK::LogTextW(L"still running");
        char* text = nullptr;
        ZTK::ZTKGetTmpString(text, 100);
        ReleaseMutex(mutex);
    }
}

}  // namespace

extern "C" {

// Uses everything that holds something and leaves it behind. Returns the number of threads that
// ran.
[[gnu::visibility("default")]] int UseAndLeave(const wchar_t* log_path) {
    ZTKOpenTraceLog(log_path);
    ZTK::EnableLogging(true, 0);
    unsigned char bytes[100] = {};
    ZTK::LogHex(L"bytes", bytes, sizeof bytes);
    char* narrow = nullptr;
    wchar_t* wide = nullptr;
    ZTK::ZTKGetTmpString(narrow, 1000);
    ZTK::ZTKGetTmpString(wide, 1000);
    ZTK::RegisterThread(1, nullptr);

    (void)CreateEventW(nullptr, TRUE, FALSE, L"left open");
    (void)CreateMutexW(nullptr, TRUE, L"left open and owned");
    CloseHandle(CreateMutexW(nullptr, TRUE, nullptr));

    threads_run = 0;
    HANDLE threads[3];
    for (HANDLE& thread : threads) {
        thread = CreateThread(nullptr, 0, CountRun, nullptr, 0, nullptr);
    }
    WaitForMultipleObjects(3, threads, TRUE, INFINITE);
    for (HANDLE thread : threads) {
        CloseHandle(thread);
    }
    (void)CreateThread(nullptr, 0, CountRun, nullptr, CREATE_SUSPENDED, nullptr);
    CloseHandle(CreateThread(nullptr, 0, CountRun, nullptr, CREATE_SUSPENDED, nullptr));
    return threads_run;
}

// Starts threads that log, allocate and take locks until the process is gone.
[[gnu::visibility("default")]] void StartEndlessThreads(const wchar_t* log_path) {
    ZTKOpenTraceLog(log_path);
    ZTK::EnableLogging(true, 0);
    HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    for (int i = 0; i < 4; ++i) {
        CloseHandle(CreateThread(nullptr, 0, LogForEver, mutex, 0, nullptr));
    }
    (void)CreateThread(nullptr, 0, LogForEver, mutex, CREATE_SUSPENDED, nullptr);
}
}
