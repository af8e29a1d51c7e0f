// A plugin of a host, the usual way in which the library is loaded late and unloaded early. It is
// also built as a program, which the library is loaded with.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/scenarios.h"
#include "ztk/ztk.h"

namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool kMayStartThreads = false;
#else
constexpr bool kMayStartThreads = true;
#endif

std::atomic<int> runs;

DWORD CountRun(LPVOID) {
    return static_cast<DWORD>(++runs);
}

HANDLE shared_mutex;
ZTK::CLock* shared_lock;

void Log() {
    WaitForSingleObject(shared_mutex, INFINITE);
    shared_lock->Lock();
    // Temporary strings stay within the locks: so many turns would give a slot to a second thread
    // while a first one still writes to it.
    ZTKTrace(L"%d %s\n", static_cast<int>(GetCurrentThreadId()), ZTK::StrConvert("runs", 1252));
    shared_lock->Unlock();
    ReleaseMutex(shared_mutex);
    ZTK::LogTextW(L"still running");
}

void BusyHook(void*, ZTK::TLogKind, const wchar_t*) {
    Sleep(0);
}

DWORD LogForEver(LPVOID) {
    for (;;) {
        Log();
        ++runs;
    }
}

// exit writes out streams as its last act: all that the threads use must still be there.
ssize_t EndOfExit(void*, const char*, std::size_t bytes) {
    Log();
    if (WaitForSingleObject(shared_mutex, INFINITE) != WAIT_OBJECT_0) {
        _exit(1);
    }
    return static_cast<ssize_t>(bytes);
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
    ZTK::SetLogHook(BusyHook, nullptr);
    ZTK::EnableLogging(true, 0);
    unsigned char bytes[100] = {};
    ZTK::LogHex(L"bytes", bytes, sizeof bytes);
    (void)ZTK::StrFormat("%d", 1);
    (void)ZTK::StrFormat(L"%d", 1);
    ZTK::RegisterThread(1, nullptr);
    const LPCWSTR strings[ZTKPosix::kStringsPerBlock] = {L"left to be freed"};
    ZTKPosix::AddStringBlock(&runs, 1, strings);
    (void)CreateEventW(nullptr, TRUE, FALSE, L"left open");
    (void)CreateMutexW(nullptr, TRUE, L"left open and owned");
    CloseHandle(CreateMutexW(nullptr, TRUE, nullptr));

    HANDLE threads[] = {NewThread(CountRun), NewThread(CountRun), NewThread(CountRun)};
    WaitForMultipleObjects(3, threads, TRUE, INFINITE);
    CloseHandle(threads[0]);
    (void)NewThread(CountRun, nullptr, CREATE_SUSPENDED);
    CloseHandle(NewThread(CountRun, nullptr, CREATE_SUSPENDED));
    return runs;
}

// Starts threads that log, allocate and take locks until the process is gone.
[[gnu::visibility("default")]] int StartEndlessThreads() {
    ZTKOpenTraceLog(L"/dev/null");
    ZTK::SetLogHook(BusyHook, nullptr);
    ZTK::EnableLogging(true, 0);
    shared_lock = new ZTK::CLock;
    shared_mutex = CreateMutexW(nullptr, FALSE, nullptr);
    for (int i = 0; i < 4; ++i) {
        CloseHandle(NewThread(LogForEver));
    }
    std::fputs("unwritten", fopencookie(nullptr, "w", {nullptr, EndOfExit, nullptr, nullptr}));
    while (runs < 9) {
        Sleep(0);
    }
    return NewThread(LogForEver, nullptr, CREATE_SUSPENDED) == nullptr;
}

// Returns how many of the children did not get through what their parent's threads are busy with.
[[gnu::visibility("default")]] int ForkWhileThreadsRun() {
    int failures = StartEndlessThreads();
    ZTK::InitWSA();
    for (int i = 0; i < 20; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(10);
            ZTK::SetLogHook(i % 2 == 0 ? nullptr : BusyHook, nullptr);
            Log();
            // A sanitizer starts no thread in such a child.
            HANDLE thread = kMayStartThreads ? NewThread(CountRun) : GetCurrentProcess();
            ZTK::RegisterThread(GetCurrentThreadId(), thread);
            ZTK::WaitRegisteredThreadsExit(INFINITE);
            for (const ztk_test::Scenario& scenario : ztk_test::kScenarios) {
                if (kMayStartThreads && Play(scenario) != ztk_test::Outcome::kDone) {
                    _exit(2);
                }
            }
            _exit(static_cast<pid_t>(GetCurrentThreadId()) != gettid());
        }
        int status = -1;
        failures += child < 0 || waitpid(child, &status, 0) != child || status != 0;
    }
    return failures;
}

// Leaves a thread that waits for the reader of a log, which is a pipe. Returns whether a child of
// fork had trouble with it.
[[gnu::visibility("default")]] int ForkWhileTheLogStalls() {
    alarm(20);
    char directory[] = "/tmp/ztk-log-XXXXXX";
    const std::string pipe = std::string(mkdtemp(directory)) + "/pipe";
    mkfifo(pipe.c_str(), 0600);
    pollfd reader{open(pipe.c_str(), O_RDWR), POLLOUT, 0};
    ZTKOpenTraceLog(ZTK::StrConvert(pipe.c_str(), 0));
    (void)unlink(pipe.c_str());
    (void)rmdir(directory);
    ZTK::EnableLogging(true, 0);
    CloseHandle(NewThread([](LPVOID) -> DWORD {
        for (;;) {
            ZTK::LogTextW(L"a line");
        }
    }));
    while (poll(&reader, 1, 20) == 1) {
        Sleep(1);
    }
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        ZTK::LogTextW(L"another line");
        _exit(0);
    }
    int status = -1;
    return child < 0 || waitpid(child, &status, 0) != child || status != 0;
}
}

int main() {
    return StartEndlessThreads();
}
