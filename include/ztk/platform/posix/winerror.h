// Results of COM calls and of those that report like them: UrlUnescapeW is the one outside COM.
// Which call returns which is said in its header. They are results and no last errors.
#pragma once

#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// The result of a COM call, and of a few others. Negative values are failures; a success need not
// be S_OK.
using HRESULT = LONG;

// Whether a result is a success, or a failure.
inline constexpr bool SUCCEEDED(HRESULT result) noexcept {
    return result >= 0;
}
inline constexpr bool FAILED(HRESULT result) noexcept {
    return result < 0;
}

// The results that calls of the layer give.
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106u);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005u);
inline constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000Au);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0u);
inline constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3u);

}  // namespace ZTKPosix

using ZTKPosix::CLASS_E_NOAGGREGATION;
using ZTKPosix::CO_E_CLASSSTRING;
using ZTKPosix::CO_E_NOTINITIALIZED;
using ZTKPosix::DISP_E_OVERFLOW;
using ZTKPosix::DISP_E_TYPEMISMATCH;
using ZTKPosix::E_FAIL;
using ZTKPosix::E_INVALIDARG;
using ZTKPosix::E_NOINTERFACE;
using ZTKPosix::E_NOTIMPL;
using ZTKPosix::E_OUTOFMEMORY;
using ZTKPosix::E_POINTER;
using ZTKPosix::E_UNEXPECTED;
using ZTKPosix::FAILED;
using ZTKPosix::HRESULT;
using ZTKPosix::REGDB_E_CLASSNOTREG;
using ZTKPosix::RPC_E_CHANGED_MODE;
using ZTKPosix::S_FALSE;
using ZTKPosix::S_OK;
using ZTKPosix::SUCCEEDED;
