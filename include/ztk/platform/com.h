// The one place where a host gets COM and the DOM: HRESULT, interface and class ids, IUnknown, BSTR
// and VARIANT, the smart reference and _com_error, and the DOM's interfaces in the namespace
// MSXML2. On Windows these are the system's; elsewhere they are the library's layer, which offers
// the operations that the library itself calls, with the same names, signatures and results.
#pragma once

#include "ztk/platform.h"

#if defined(_WIN32)
#include "ztk/platform/windows_com.h"
#else
#include "ztk/platform/posix/comdef.h"
#include "ztk/platform/posix/msxml.h"
#include "ztk/platform/posix/objbase.h"
#include "ztk/platform/posix/oleauto.h"
#endif
