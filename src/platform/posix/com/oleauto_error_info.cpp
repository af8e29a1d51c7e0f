// The error record of each thread.
#include "platform/posix/com/oleauto_error_info.h"

#include <pthread.h>

#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

namespace {

// A reference of the thread's own, or null. A plain pointer on purpose: destructors of the host's
// thread-local objects may still use COM.
constinit thread_local IErrorInfo* record = nullptr;

// Gives a thread's error record back at its end.
extern "C" void ZtkPosixDropErrorRecord(void* /*value*/) {
    SetErrorInfo(0, nullptr);
}

// The key whose destructor is ZtkPosixDropErrorRecord; made when the first record is left.
constinit pthread_key_t end_key ZTK_GUARDED_BY(error_key_lock){};
constinit bool end_key_made ZTK_GUARDED_BY(error_key_lock) = false;

bool NoticeThreadEnd() noexcept ZTK_EXCLUDES(error_key_lock) {
    const LockGuard guard(error_key_lock);
    if (!end_key_made) {
        end_key_made = pthread_key_create(&end_key, ZtkPosixDropErrorRecord) == 0;
    }
    return end_key_made && pthread_setspecific(end_key, &record) == 0;
}

}  // namespace

HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info) noexcept {
    if (reserved != 0) {
        return E_INVALIDARG;
    }
    // On a thread whose end goes unnoticed the record would never be given back.
    if (info != nullptr && !NoticeThreadEnd()) {
        info = nullptr;
    }
    if (info != nullptr) {
        info->AddRef();
    }
    IErrorInfo* previous = record;
    record = info;
    if (previous != nullptr) {
        previous->Release();
    }
    return S_OK;
}

HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info) noexcept {
    if (reserved != 0 || info == nullptr) {
        return E_INVALIDARG;
    }
    *info = record;
    record = nullptr;
    return *info != nullptr ? S_OK : S_FALSE;
}

void TearDownCom() noexcept {
    SetErrorInfo(0, nullptr);
    const LockGuard guard(error_key_lock);
    if (end_key_made) {
        pthread_key_delete(end_key);
        end_key_made = false;
    }
}

}  // namespace ZTKPosix
