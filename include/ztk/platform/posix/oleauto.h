// Automation: counted strings, variants and error records.
//
// Calls report by their result only and leave the thread's last error alone. They may be made from
// any thread; one variant is used by one thread at a time.
#pragma once

#include "ztk/platform/posix/objbase.h"

namespace ZTKPosix {

// A counted 16-bit string, terminated in addition; it may hold NUL characters. A null BSTR counts
// as an empty one. Owned by whoever received it and given back with SysFreeString. Its length in
// bytes stands in the four bytes in front of the text; one string has at most 0x7FFFFFF0 bytes.
using BSTR = OLECHAR*;

// A copy of text up to its terminator. Null for a null text, when memory is short and when text is
// too long.
[[nodiscard]] ZTK_API BSTR SysAllocString(const OLECHAR* text) noexcept;

// A string of length characters, copied from text; with a null text the characters are for the
// caller to fill in. Null when memory is short or length too large.
[[nodiscard]] ZTK_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept;

// The same counted in bytes. An odd count is kept; the terminator follows it.
[[nodiscard]] ZTK_API BSTR SysAllocStringByteLen(LPCSTR bytes, UINT count) noexcept;

// Gives a string back. Ignores null. REQUIRES: text comes from one of the calls above.
ZTK_API void SysFreeString(BSTR text) noexcept;

// Characters or bytes without the terminator; 0 for null.
[[nodiscard]] ZTK_API UINT SysStringLen(BSTR text) noexcept;
[[nodiscard]] ZTK_API UINT SysStringByteLen(BSTR text) noexcept;

// The strings that are allocated in the process now. For leak checks.
[[nodiscard]] ZTK_API SIZE_T LiveBstrs() noexcept;

using VARTYPE = unsigned short;
using VARIANT_BOOL = short;
using DATE = double;  // days since 30 December 1899

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

// A fixed-point number: ten thousandths.
struct CY {
    long long int64;
};

// The kinds of values that this layer makes or takes. VT_ARRAY goes together with VT_UI1 only.
enum VARENUM : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_UNKNOWN = 13,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_ARRAY = 0x2000,
};

struct SAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
};

// An array of one dimension; binary values come as arrays of bytes: rgsabound[0].cElements of them
// at pvData. It is one block with its bytes and goes with the variant that holds it.
struct SAFEARRAY {
    WORD cDims;
    WORD fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    PVOID pvData;
    SAFEARRAYBOUND rgsabound[1];
};

struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        long long llVal;
        LONG lVal;
        BYTE bVal;
        short iVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        LONG scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        SAFEARRAY* parray;
        char cVal;
        WORD uiVal;
        ULONG ulVal;
        unsigned long long ullVal;
        int intVal;
        unsigned int uintVal;
    };
};
using VARIANT = tagVARIANT;
using VARIANTARG = VARIANT;
using LPVARIANT = VARIANT*;

// Makes the variant empty whatever it held before: for memory that holds no variant yet. Ignores
// null.
ZTK_API void VariantInit(VARIANT* variant) noexcept;

// Gives back what the variant owns (VT_BSTR: the string; VT_UNKNOWN: the reference; VT_ARRAY |
// VT_UI1: the array; any other type: nothing) and makes it empty. S_OK, or E_INVALIDARG for null.
ZTK_API HRESULT VariantClear(VARIANT* variant) noexcept;

// Clears target and makes it a copy of source with a string, reference or array of its own; a value
// of a type that owns nothing (see VariantClear) is copied bit by bit. Does nothing when both are
// the same variant. S_OK; E_OUTOFMEMORY with target empty; E_INVALIDARG for null.
ZTK_API HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept;

// What went wrong in a call, beyond its result. Each text is a new string of the caller's, which
// may be null.
//
// The calls of this layer's records return S_OK; E_INVALIDARG when the output pointer is null;
// E_OUTOFMEMORY with a null text. GetGUID gives a zero id, GetSource "DOM", GetDescription an
// English sentence, GetHelpFile null and GetHelpContext 0.
struct ZTK_API IErrorInfo : IUnknown {
    virtual HRESULT GetGUID(GUID* id) = 0;
    virtual HRESULT GetSource(BSTR* source) = 0;
    virtual HRESULT GetDescription(BSTR* description) = 0;
    virtual HRESULT GetHelpFile(BSTR* help_file) = 0;
    virtual HRESULT GetHelpContext(DWORD* help_context) = 0;

  protected:
    ~IErrorInfo() = default;
};

// Answered by objects that leave an error record behind when a call fails.
struct ZTK_API ISupportErrorInfo : IUnknown {
    // S_OK when calls of that interface do, else S_FALSE.
    virtual HRESULT InterfaceSupportsErrorInfo(REFIID iid) = 0;

  protected:
    ~ISupportErrorInfo() = default;
};

inline constexpr IID IID_IErrorInfo{
    0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_ISupportErrorInfo{
    0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

template <>
struct InterfaceIdOf<IErrorInfo> {
    static constexpr const IID& value = IID_IErrorInfo;
};
template <>
struct InterfaceIdOf<ISupportErrorInfo> {
    static constexpr const IID& value = IID_ISupportErrorInfo;
};

// The error record of the calling thread. SetErrorInfo replaces it (null takes it away) and keeps a
// reference of its own, until the thread ends at the latest: S_OK. Short of memory for noticing the
// thread's end, the thread has no record afterwards, and the result is S_OK too. GetErrorInfo hands
// the thread's reference over to the caller, and the thread has no record any more: S_OK, or
// S_FALSE with null when there is none. Both return E_INVALIDARG, and change nothing, when reserved
// is not 0; GetErrorInfo also when info is null.
ZTK_API HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info) noexcept;
ZTK_API HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::BSTR;
using ZTKPosix::CY;
using ZTKPosix::DATE;
using ZTKPosix::GetErrorInfo;
using ZTKPosix::IErrorInfo;
using ZTKPosix::IID_IErrorInfo;
using ZTKPosix::IID_ISupportErrorInfo;
using ZTKPosix::ISupportErrorInfo;
using ZTKPosix::LPVARIANT;
using ZTKPosix::SAFEARRAY;
using ZTKPosix::SAFEARRAYBOUND;
using ZTKPosix::SetErrorInfo;
using ZTKPosix::SysAllocString;
using ZTKPosix::SysAllocStringByteLen;
using ZTKPosix::SysAllocStringLen;
using ZTKPosix::SysFreeString;
using ZTKPosix::SysStringByteLen;
using ZTKPosix::SysStringLen;
using ZTKPosix::tagVARIANT;
using ZTKPosix::VARIANT;
using ZTKPosix::VARIANT_BOOL;
using ZTKPosix::VARIANT_FALSE;
using ZTKPosix::VARIANT_TRUE;
using ZTKPosix::VARIANTARG;
using ZTKPosix::VariantClear;
using ZTKPosix::VariantCopy;
using ZTKPosix::VariantInit;
using ZTKPosix::VARTYPE;
using enum ZTKPosix::VARENUM;
