// The compiler's COM support: the exception _com_error and the functions that raise it, the string
// and variant wrappers, the smart reference.
#pragma once

#include "ztk/platform/posix/comip.h"
#include "ztk/platform/posix/comutil.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

// A failed COM call as an exception. The library throws it across its boundary and a host catches
// it by this type: its type information exists once, in the library.
//
//     try {
//         xml.LoadXML(text);
//     } catch (const _com_error& error) {
//         std::fprintf(stderr, "%s\n", error.ErrorMessage());
//     }
//
// Copies share the error record. Thread-safety: none; an object is used by one thread at a time.
class ZTK_API _com_error {
  public:
    // Takes over the caller's reference on info unless add_ref is set.
    explicit(false)
        _com_error(HRESULT result, IErrorInfo* info = nullptr, bool add_ref = false) noexcept;
    _com_error(const _com_error& other) noexcept;
    _com_error& operator=(const _com_error& other) noexcept;
    virtual ~_com_error() noexcept;

    [[nodiscard]] HRESULT Error() const noexcept { return result_; }

    // The error record with a reference for the caller, or null.
    [[nodiscard]] IErrorInfo* ErrorInfo() const noexcept;

    // Texts of the error record; empty without one and when the record does not give the text.
    // Throw E_OUTOFMEMORY.
    [[nodiscard]] _bstr_t Description() const;
    [[nodiscard]] _bstr_t Source() const;

    // What the result says in general, in plain English, or its number; never null. Narrow, as on
    // the platform in a program that does not ask for wide texts. Valid as long as this object.
    [[nodiscard]] const char* ErrorMessage() const noexcept;

  private:
    HRESULT result_;
    IErrorInfo* info_;
    mutable char message_[32];  // for results without a text of their own
};

}  // namespace ZTKPosix

using ZTKPosix::_com_error;
