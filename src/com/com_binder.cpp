// COM initialisation tied to the life of an object.
#include "ztk/com.h"

namespace ZTK {

CCOMBinder::CCOMBinder() noexcept : result_(CoInitialize(nullptr)) {}

CCOMBinder::CCOMBinder(DWORD flags) noexcept : result_(CoInitializeEx(nullptr, flags)) {}

CCOMBinder& CCOMBinder::operator=(const CCOMBinder& other) noexcept = default;

// S_FALSE, the answer on a thread that was initialised before, is balanced like S_OK: COM counts
// both.
CCOMBinder::~CCOMBinder() {
    if (SUCCEEDED(result_)) {
        CoUninitialize();
    }
}

}  // namespace ZTK
