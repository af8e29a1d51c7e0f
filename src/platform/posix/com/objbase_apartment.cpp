#include "platform/posix/com/objbase_apartment.h"

#include "ztk/platform/posix/objbase.h"

namespace ZTKPosix {

namespace {

struct Apartment {
    ULONG initializations;
    bool multithreaded;  // meaningful while initializations is not 0
};

// Trivially destructible on purpose: destructors of the host's thread-local objects may still use
// COM.
constinit thread_local Apartment apartment{};

}  // namespace

bool IsComInitialized() noexcept {
    return apartment.initializations != 0;
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
    if (apartment.initializations == 0) {
        apartment.multithreaded = multithreaded;
    } else if (apartment.multithreaded != multithreaded) {
        return RPC_E_CHANGED_MODE;
    }
    return apartment.initializations++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize() noexcept {
    if (apartment.initializations != 0) {
        --apartment.initializations;
    }
}

}  // namespace ZTKPosix
