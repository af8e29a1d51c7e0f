// CreateThread, ResumeThread, GetExitCodeThread, GetCurrentThreadId.
#include "platform/posix/kernel/threads.h"

#include <new>

#include "platform/memory/allocation.h"
#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/thread_end.h"

namespace ZTKPosix {

namespace {

// How CreateThread and the new thread meet. Lies on the creator's stack.
struct StartReport {
    Thread* thread;
    LPDWORD thread_id;
    FutexWord outcome{0};  // the thread's last touch
};
constexpr std::uint32_t kStarted = 1;
constexpr std::uint32_t kStartFailed = 2;

void Report(StartReport& report, std::uint32_t outcome) noexcept {
    FutexWord* word = &report.outcome;
    word->store(outcome, std::memory_order_release);
    FutexWakeOne(word);
}

// Makes the new thread's end and id known. Returns false when memory is short.
bool EnterThread(StartReport& report) noexcept {
    Thread& thread = *report.thread;
    pthread_setname_np(pthread_self(), "ztk-worker");
    {
        DispatcherSection section;
        if (!AnnounceThreadEnd()) {
            return false;
        }
        AddLiveThread(thread);
    }
    const DWORD id = CurrentThreadId();
    if (report.thread_id != nullptr) {
        *report.thread_id = id;
    }
    return true;
}

// noexcept: an exception that leaves start ends the process, as it does on the platform.
void RunThread(StartReport& report) noexcept {
    Thread& thread = *report.thread;
    if (!EnterThread(report)) {
        Report(report, kStartFailed);
        return;
    }
    Report(report, kStarted);
    std::uint32_t gate;
    while ((gate = thread.gate.load(std::memory_order_acquire)) == kGateShut) {
        FutexWait(thread.gate, kGateShut, nullptr);
    }
    if (gate == kGateOpen) {
        thread.exit_code = thread.start(thread.parameter);
    }
}

extern "C" void* ZtkPosixThreadMain(void* argument) {
    RunThread(*static_cast<StartReport*>(argument));
    return nullptr;
}

// Starts the system's thread and waits until it has an id.
bool Start(Thread& thread, SIZE_T stack_bytes, LPDWORD thread_id) noexcept {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    std::size_t default_bytes = 0;
    pthread_attr_getstacksize(&attributes, &default_bytes);
    // As on the platform, a size below the default does not make the stack smaller.
    bool started =
        stack_bytes <= default_bytes || pthread_attr_setstacksize(&attributes, stack_bytes) == 0;
    StartReport report{&thread, thread_id};
    pthread_t system_thread;
    started =
        started && pthread_create(&system_thread, &attributes, ZtkPosixThreadMain, &report) == 0;
    pthread_attr_destroy(&attributes);
    if (!started) {
        return false;
    }
    std::uint32_t outcome;
    while ((outcome = report.outcome.load(std::memory_order_acquire)) == 0) {
        FutexWait(report.outcome, 0, nullptr);
    }
    if (outcome == kStartFailed) {
        pthread_join(system_thread, nullptr);
    }
    return outcome == kStarted;
}

}  // namespace

HANDLE CreateThread(LPSECURITY_ATTRIBUTES /*attributes*/, SIZE_T stack_bytes,
                    LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                    LPDWORD thread_id) noexcept {
    if (start == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    LetEndedThreadsLeave();
    HANDLE handle = nullptr;
    if (void* memory = ZTK::allocation::RuntimeAlloc(sizeof(Thread)); memory != nullptr) {
        auto* thread = new (memory) Thread(start, parameter, (flags & CREATE_SUSPENDED) != 0);
        {
            DispatcherSection section;
            handle = OpenHandle(*thread);
        }
        const bool started = handle != nullptr && Start(*thread, stack_bytes, thread_id);
        DispatcherSection section;
        if (!started && handle != nullptr) {
            CloseOpenHandle(handle, section, nullptr);
            handle = nullptr;
        }
        section.Release(*thread);
    }
    if (handle == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return handle;
}

DWORD ResumeThread(HANDLE handle) noexcept {
    FutexWord* gate = nullptr;
    {
        DispatcherSection section;
        auto* thread = FindObject<Thread>(handle);
        if (thread == nullptr) {
            SetLastError(ERROR_INVALID_HANDLE);
            return 0xFFFFFFFF;
        }
        if (!thread->suspended) {
            return 0;
        }
        thread->suspended = false;
        gate = &thread->gate;
        gate->store(kGateOpen, std::memory_order_release);
    }
    FutexWakeOne(gate);
    return 1;
}

BOOL GetExitCodeThread(HANDLE handle, LPDWORD exit_code) noexcept {
    DispatcherSection section;
    auto* thread = FindObject<Thread>(handle);
    if (thread == nullptr || exit_code == nullptr) {
        SetLastError(thread == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *exit_code = thread->signalled ? thread->exit_code : STILL_ACTIVE;
    return TRUE;
}

DWORD GetCurrentThreadId() noexcept {
    return CurrentThreadId();
}

}  // namespace ZTKPosix
