// COM initialisation tied to the life of an object.
//
//     ZTK::CCOMBinder com;    // COM is initialised on this thread ...
//     ...                     // ... until com goes
//
// A host that uses XML documents only needs none: each CXml carries its own.
#pragma once

#include "ztk/platform/com.h"

namespace ZTK {

// Initialises COM on the thread that makes it and undoes that when it is destroyed. A thread that
// is initialised already is initialised once more, and the destructor takes back that one. When the
// initialisation fails (RPC_E_CHANGED_MODE: the thread runs in the other concurrency model;
// E_INVALIDARG: unknown flags), nothing is reported and the destructor undoes nothing.
//
// Copying copies what the initialisation gave and initialises nothing, while every destructor
// undoes: of a binder and its copies only one may be destroyed.
//
// Thread-safety: made, used and destroyed on one thread.
class ZTK_API CCOMBinder {
  public:
    // Apartment-threaded.
    CCOMBinder() noexcept;

    // flags are the COINIT values of CoInitializeEx (COINIT_MULTITHREADED,
    // COINIT_APARTMENTTHREADED, ...), passed on as they are.
    explicit CCOMBinder(DWORD flags) noexcept;

    CCOMBinder(const CCOMBinder& other) noexcept = default;
    CCOMBinder& operator=(const CCOMBinder& other) noexcept;
    ~CCOMBinder();

  private:
    HRESULT result_;
};

}  // namespace ZTK
