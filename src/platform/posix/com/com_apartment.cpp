// COM's state of each thread: how often and in which model it is initialised, and its error record.
#include "platform/posix/com/com_apartment.h"

#include <pthread.h>

#include <atomic>

#include "platform/posix/com/com_object.h"
#include "platform/posix/kernel/lock/lock.h"

namespace ZTKPosix {

constinit std::atomic<SIZE_T> LiveObject::count_{0};

namespace {

// Trivially destructible on purpose: destructors of the host's thread-local objects may still use
// COM.
struct ThreadState {
    ULONG initializations;
    bool multithreaded;  // meaningful while initializations is not 0
    IErrorInfo* error;   // owned
};

constinit thread_local ThreadState state{};

// Gives a thread's error record back at its end.
extern "C" void ZtkPosixDropErrorRecord(void* /*value*/) {
    SetErrorInfo(0, nullptr);
}

// The key whose destructor is ZtkPosixDropErrorRecord; made when the first record is left.
constinit Lock end_key_lock;
constinit pthread_key_t end_key ZTK_GUARDED_BY(end_key_lock){};
constinit bool end_key_made ZTK_GUARDED_BY(end_key_lock) = false;

bool NoticeThreadEnd() noexcept ZTK_EXCLUDES(end_key_lock) {
    const LockGuard guard(end_key_lock);
    if (!end_key_made) {
        end_key_made = pthread_key_create(&end_key, ZtkPosixDropErrorRecord) == 0;
    }
    return end_key_made && pthread_setspecific(end_key, &state) == 0;
}

}  // namespace

bool IsComInitialized() noexcept {
    return state.initializations != 0;
}

HRESULT CoInitialize(LPVOID reserved) noexcept {
    return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
}

HRESULT CoInitializeEx(LPVOID reserved, DWORD flags) noexcept {
    constexpr DWORD kKnownFlags =
        COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE | COINIT_SPEED_OVER_MEMORY;
    if (reserved != nullptr || (flags & ~kKnownFlags) != 0) {
        return E_INVALIDARG;
    }
    const bool multithreaded = (flags & COINIT_APARTMENTTHREADED) == 0;
    if (state.initializations == 0) {
        state.multithreaded = multithreaded;
    } else if (state.multithreaded != multithreaded) {
        return RPC_E_CHANGED_MODE;
    }
    return state.initializations++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize() noexcept {
    if (state.initializations != 0) {
        --state.initializations;
    }
}

HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info) noexcept {
    if (reserved != 0) {
        return E_INVALIDARG;
    }
    // A record on a thread whose end goes unnoticed would never be given back.
    if (info != nullptr && !NoticeThreadEnd()) {
        info = nullptr;
    }
    if (info != nullptr) {
        info->AddRef();
    }
    IErrorInfo* previous = state.error;
    state.error = info;
    if (previous != nullptr) {
        previous->Release();
    }
    return S_OK;
}

HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info) noexcept {
    if (reserved != 0 || info == nullptr) {
        return E_INVALIDARG;
    }
    *info = state.error;
    state.error = nullptr;
    return *info != nullptr ? S_OK : S_FALSE;
}

void TearDownCom() noexcept {
    SetErrorInfo(0, nullptr);
    const LockGuard guard(end_key_lock);
    if (end_key_made) {
        pthread_key_delete(end_key);
        end_key_made = false;
    }
}

SIZE_T LiveComObjects() noexcept {
    return LiveObject::Count();
}

}  // namespace ZTKPosix
