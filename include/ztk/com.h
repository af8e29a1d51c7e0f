// COM initialisation tied to the life of an object, and failed calls of COM as a sentence.
//
//     ZTK::CCOMBinder com;    // COM is initialised on this thread ...
//     ...                     // ... until com goes
//
// A host that uses XML documents only needs none: each CXml carries its own.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "ztk/platform/com.h"
#include "ztk/strings.h"
#include "ztk/text.h"

namespace ZTK {

namespace com {

// A general text of the platform's, which is narrow or wide as the host's build asks.
inline std::string GeneralText(const wchar_t* text) {
    return ToUtf8(text);
}
inline std::string GeneralText(const char* text) {
    return ToUtf8(StrConvert(text, 0));
}

}  // namespace com

// What a failed call of COM or the DOM says, as one sentence in UTF-8 with its code: what the error
// record says or, without one, what the code says in general.
//
//     } catch (const _com_error& error) {
//         Log(ZTK::Describe(error));    // "The parameter is incorrect. (0x80070057)"
//     }
//
// Throws std::bad_alloc, or _com_error with E_OUTOFMEMORY, when memory is short. Thread-safety: the
// error is used by one thread at a time.
[[nodiscard]] inline std::string Describe(const _com_error& error) {
    std::string text = ToUtf8(static_cast<const wchar_t*>(error.Description()));
    if (text.empty()) {
        text = com::GeneralText(error.ErrorMessage());
    }
    text.erase(text.find_last_not_of(" \r\n") + 1);
    char code[16];
    std::snprintf(code, sizeof code, " (0x%08X)", static_cast<unsigned>(error.Error()));
    return text + code;
}

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
