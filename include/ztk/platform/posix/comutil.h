// The string and variant wrappers of the compiler's COM support.
#pragma once

#include <cstddef>

#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

// Throw _com_error, the second with the calling thread's error record if object (which may be null)
// says that it leaves records for that interface; the thread has that record no longer then.
// REQUIRES: result is a failure.
[[noreturn]] ZTK_API void _com_issue_error(HRESULT result);
[[noreturn]] ZTK_API void _com_issue_errorex(HRESULT result, IUnknown* object, REFIID iid);

namespace _com_util {

// Throws _com_error for a failure.
inline void CheckError(HRESULT result) {
    if (FAILED(result)) {
        _com_issue_error(result);
    }
}

}  // namespace _com_util

// A shared BSTR: copies refer to one string, which goes with the last of them.
//
// Errors: whatever needs memory and gets none throws _com_error with E_OUTOFMEMORY and leaves the
// object as it was. Narrow texts are in the system's code page, UTF-8. Thread-safety: different
// objects may be used from different threads, also when they share a string.
class ZTK_API _bstr_t {
  public:
    _bstr_t() noexcept = default;
    // A copy of text; no string for null.
    explicit(false) _bstr_t(const wchar_t* text);
    explicit(false) _bstr_t(const char* text);
    // Copies text, or takes it over when copy is false: then it is given back also when this
    // throws.
    _bstr_t(BSTR text, bool copy);
    _bstr_t(const _bstr_t& other) noexcept;
    _bstr_t(_bstr_t&& other) noexcept;
    _bstr_t& operator=(const _bstr_t& other) noexcept;
    _bstr_t& operator=(_bstr_t&& other) noexcept;
    _bstr_t& operator=(const wchar_t* text);
    _bstr_t& operator=(const char* text);
    ~_bstr_t() noexcept;

    _bstr_t& operator+=(const _bstr_t& other);
    [[nodiscard]] _bstr_t operator+(const _bstr_t& other) const;

    // The text, null for none. Valid until this object and the last copy of it go or change. A
    // change of the text through the pointer changes all copies. The narrow text is made at the
    // first call and does not follow such changes.
    explicit(false) operator const wchar_t*() const noexcept;
    explicit(false) operator wchar_t*() const noexcept;
    explicit(false) operator const char*() const;

    [[nodiscard]] bool operator!() const noexcept;
    // By code unit; none orders before any text.
    [[nodiscard]] bool operator==(const _bstr_t& other) const noexcept;
    [[nodiscard]] bool operator<(const _bstr_t& other) const noexcept;

    // Characters without the terminator.
    [[nodiscard]] unsigned int length() const noexcept;

    // A new string for the caller, or with copy false this object's own, which stays its own; null
    // for none.
    [[nodiscard]] BSTR copy(bool copy = true) const;

    // Drops this object's share and takes text over. text is given back also when this throws.
    void Attach(BSTR text);
    // Hands the string over to the caller. Throws E_POINTER when a copy shares it, and for an
    // object that was given none.
    [[nodiscard]] BSTR Detach();
    // Drops this object's share; where a call may store a string that this object then owns.
    [[nodiscard]] BSTR* GetAddress();

  private:
    struct Shared;

    [[nodiscard]] ZTK_LOCAL int Compare(const _bstr_t& other) const noexcept;

    Shared* shared_ = nullptr;
};

// A VARIANT that gives back what it owns. Values convert to the type they have only: the
// conversions to C++ types throw _com_error with DISP_E_TYPEMISMATCH for a variant of another type.
// Made from a text or a variant, or assigned a variant, it has a copy of its own. When there is no
// memory for that it throws E_OUTOFMEMORY, and an object that was assigned to is empty.
// Thread-safety: none; an object is used by one thread at a time.
class ZTK_API _variant_t : public VARIANT {
  public:
    _variant_t() noexcept { VariantInit(this); }
    explicit(false) _variant_t(const VARIANT& source);
    _variant_t(const _variant_t& source) : _variant_t(static_cast<const VARIANT&>(source)) {}
    _variant_t(_variant_t&& source) noexcept;
    // type: VT_I2, or VT_BOOL, where any value but 0 is true. Throws E_INVALIDARG for another one.
    explicit(false) _variant_t(short value, VARTYPE type = VT_I2);
    explicit(false) _variant_t(LONG value) noexcept;
    explicit(false) _variant_t(double value) noexcept;
    explicit(false) _variant_t(bool value) noexcept;
    explicit(false) _variant_t(const wchar_t* text);
    explicit(false) _variant_t(const _bstr_t& text);
    _variant_t& operator=(const VARIANT& source);
    _variant_t& operator=(const _variant_t& source);
    _variant_t& operator=(_variant_t&& source) noexcept;
    ~_variant_t() noexcept { VariantClear(this); }

    explicit(false) operator short() const;
    explicit(false) operator LONG() const;
    explicit(false) operator double() const;
    explicit(false) operator bool() const;
    explicit(false) operator _bstr_t() const;

    // Gives back what it owns and is empty then.
    void Clear() { _com_util::CheckError(VariantClear(this)); }
    // Clears and takes the other's value over, which becomes empty.
    void Attach(VARIANT& source);
    // Hands the value over to the caller, who clears it; this object is empty then.
    [[nodiscard]] VARIANT Detach() noexcept;
    // Clears; where a call may store a value that this object then owns.
    [[nodiscard]] VARIANT* GetAddress() noexcept;
};

}  // namespace ZTKPosix

namespace _com_util = ZTKPosix::_com_util;

using ZTKPosix::_bstr_t;
using ZTKPosix::_com_issue_error;
using ZTKPosix::_com_issue_errorex;
using ZTKPosix::_variant_t;
