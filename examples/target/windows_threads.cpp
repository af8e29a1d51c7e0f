// The threads of a debuggee.
#include "target/windows_threads.h"

#include <algorithm>

#include "common/utf.h"

namespace example {

namespace {

// The handles of events are the system's to close, at the last event of whom they are for. Wine
// leaves that to us, and nobody closes them when a debuggee is let go. A handle that was closed
// stands for nothing, or by now for something else, which the id tells.
void CloseIfLeft(const DebuggeeThread& thread) {
    if (GetThreadId(thread.handle) == thread.id) {
        CloseHandle(thread.handle);
    }
}

// Systems before Windows 10 lack this function.
using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);

GetDescription FindGetDescription() {
    const auto found = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetThreadDescription");
    return reinterpret_cast<GetDescription>(reinterpret_cast<void*>(found));
}

}  // namespace

std::string DebuggeeThread::Name() const {
    static const GetDescription get = FindGetDescription();
    PWSTR description = nullptr;
    if (!told_name.empty() || get == nullptr || FAILED(get(handle, &description))) {
        return told_name;
    }
    std::string name = ToUtf8(description);
    LocalFree(description);
    return name;
}

bool DebuggeeThread::GetContext(CONTEXT* context) const {
    *context = {};
    context->ContextFlags = ContextFlags();
    return GetThreadContext(handle, context) != FALSE;
}

bool DebuggeeThread::SetContext(const CONTEXT& context) const {
    return SetThreadContext(handle, &context) != FALSE;
}

Address DebuggeeThread::Position() const {
    CONTEXT context;
    return GetContext(&context) ? InstructionPointer(context) : 0;
}

bool DebuggeeThread::SetPosition(Address address) const {
    CONTEXT context;
    if (!GetContext(&context)) {
        return false;
    }
    SetInstructionPointer(&context, address);
    return SetContext(context);
}

bool DebuggeeThread::SetTrapFlag(bool on) const {
    CONTEXT context;
    if (!GetContext(&context)) {
        return false;
    }
    example::SetTrapFlag(&context, on);
    return SetContext(context);
}

DebuggeeThread& ThreadList::Add(DWORD id, HANDLE handle) {
    DebuggeeThread& thread = threads_.emplace_back();
    thread.id = id;
    thread.handle = handle;
    return thread;
}

void ThreadList::Remove(DWORD id) {
    if (const DebuggeeThread* thread = Find(id)) {
        CloseIfLeft(*thread);
        std::erase_if(threads_, [id](const DebuggeeThread& thread) { return thread.id == id; });
    }
}

void ThreadList::Clear() {
    std::for_each(threads_.begin(), threads_.end(), CloseIfLeft);
    threads_.clear();
}

DebuggeeThread* ThreadList::Find(DWORD id) {
    const auto found = std::find_if(threads_.begin(), threads_.end(),
                                    [id](const DebuggeeThread& thread) { return thread.id == id; });
    return found == threads_.end() ? nullptr : &*found;
}

void ThreadList::Hold(DebuggeeThread* thread) {
    if (!thread->held) {
        thread->held = SuspendThread(thread->handle) != static_cast<DWORD>(-1);
    }
}

void ThreadList::Release(DebuggeeThread* thread) {
    if (thread->held) {
        ResumeThread(thread->handle);
        thread->held = false;
    }
}

// A suspension is a request; the thread's context is there once it has come into force.
void ThreadList::HoldAllBut(DWORD id) {
    for (DebuggeeThread& thread : threads_) {
        if (thread.id != id) {
            Hold(&thread);
        }
    }
    for (const DebuggeeThread& thread : threads_) {
        if (thread.held) {
            (void)thread.Position();
        }
    }
}

void ThreadList::ReleaseAll() {
    std::for_each(threads_.begin(), threads_.end(), [](DebuggeeThread& t) { Release(&t); });
}

// Suspending tells how often a thread was suspended before, once of that by us.
void ThreadList::WakeIfAllSleep(DWORD id) {
    const auto sleeps = [id](const DebuggeeThread& thread) {
        const DWORD count = SuspendThread(thread.handle);
        if (count == static_cast<DWORD>(-1)) {
            return false;
        }
        ResumeThread(thread.handle);
        return count > 1 || thread.id == id;
    };
    if (!std::all_of(threads_.begin(), threads_.end(), sleeps)) {
        return;
    }
    for (const DebuggeeThread& thread : threads_) {
        if (thread.id != id) {
            ResumeThread(thread.handle);
        }
    }
}

}  // namespace example
