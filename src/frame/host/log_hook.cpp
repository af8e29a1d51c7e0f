#include "frame/host/log_hook.h"

#include <cstdint>

#include "frame/base/static_object.h"
#include "frame/host/last_error_keeper.h"
#include "ztk/scope.h"

namespace ZTK {
namespace frame {

namespace {

// A call of the hook that is under way, on the stack of its thread.
struct HookCall {
    DWORD thread;
    std::uint64_t setting = 0;  // which hook it is of
    HookCall* next = nullptr;
};

struct HookState {
    CLock lock;  // never held while a hook runs
    TLogHook hook ZTK_GUARDED_BY(lock) = nullptr;
    void* context ZTK_GUARDED_BY(lock) = nullptr;
    std::uint64_t setting ZTK_GUARDED_BY(lock) = 0;  // counts the calls of SetLogHook
    HookCall* calls ZTK_GUARDED_BY(lock) = nullptr;
    DWORD forking_thread ZTK_GUARDED_BY(lock) = 0;
};

constinit StaticObject<HookState> hook_state;

// The thread's call, or null. A thread has one at most: what it logs meanwhile is not handed on.
HookCall* FindCall(const HookState& state, DWORD thread) noexcept ZTK_REQUIRES(state.lock) {
    HookCall* call = state.calls;
    while (call != nullptr && call->thread != thread) {
        call = call->next;
    }
    return call;
}

void Remove(HookState& state, const HookCall& call) noexcept ZTK_REQUIRES(state.lock) {
    HookCall** link = &state.calls;
    while (*link != &call) {
        link = &(*link)->next;
    }
    *link = call.next;
}

bool HasCallBefore(HookState& state, std::uint64_t setting) noexcept {
    const CLockGuard guard(state.lock);
    const HookCall* call = state.calls;
    while (call != nullptr && call->setting >= setting) {
        call = call->next;
    }
    return call != nullptr;
}

}  // namespace

void CallLogHook(TLogKind kind, const wchar_t* text) noexcept {
    const LastErrorKeeper keeper;
    HookState& state = hook_state.Get();
    HookCall call{GetCurrentThreadId()};
    TLogHook hook = nullptr;
    void* context = nullptr;
    {
        const CLockGuard guard(state.lock);
        if (text == nullptr || state.hook == nullptr || FindCall(state, call.thread) != nullptr) {
            return;
        }
        hook = state.hook;
        context = state.context;
        call.setting = state.setting;
        call.next = state.calls;
        state.calls = &call;
    }
    hook(context, kind, text);
    const CLockGuard guard(state.lock);
    Remove(state, call);
}

void BuildLogHook() noexcept {
    hook_state.Build();
}

void DestroyLogHook() noexcept {
    hook_state.Destroy();
}

void DropLogHook() noexcept {
    log_hook_is_set.store(false);
}

// Not analysed, here and below: the lock is hidden in this file.
void LockLogHook() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    HookState& state = hook_state.Get();
    state.lock.Lock();
    state.forking_thread = GetCurrentThreadId();
}

void UnlockLogHook() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    hook_state.Get().lock.Unlock();
}

void ForgetLogHookCallsInChild() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    HookState& state = hook_state.Get();
    state.calls = FindCall(state, state.forking_thread);
    if (state.calls != nullptr) {
        state.calls->thread = GetCurrentThreadId();  // the child's thread has an id of its own
        state.calls->next = nullptr;
    }
}

}  // namespace frame

void SetLogHook(TLogHook hook, void* context) noexcept {
    frame::HookState& state = frame::hook_state.Get();
    std::uint64_t setting = 0;
    {
        const CLockGuard guard(state.lock);
        state.hook = hook;
        state.context = context;
        setting = ++state.setting;
        frame::log_hook_is_set.store(hook != nullptr, std::memory_order_release);
        if (frame::FindCall(state, GetCurrentThreadId()) != nullptr) {
            return;  // it would wait for itself, or for another that does the same
        }
    }
    while (frame::HasCallBefore(state, setting)) {
        Sleep(1);  // a hook is short, and seldom changed: not worth an event that might fail
    }
}

}  // namespace ZTK
