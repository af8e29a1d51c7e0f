// COM: results, ids, IUnknown, the initialisation of a thread, and the creation of objects by
// class.
//
// Calls report by their HRESULT only and leave the thread's last error alone.
#pragma once

#include <type_traits>

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"
#include "ztk/platform/posix/winerror.h"

namespace ZTKPosix {

struct GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];

    friend constexpr bool operator==(const GUID&, const GUID&) noexcept = default;
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr bool IsEqualGUID(REFGUID a, REFGUID b) noexcept {
    return a == b;
}
inline constexpr bool IsEqualIID(REFIID a, REFIID b) noexcept {
    return a == b;
}

using OLECHAR = wchar_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

// The id of an interface; each interface's header adds its own.
template <class Interface>
struct InterfaceIdOf;

// Of an interface, or of an object or pointer whose static type names one.
template <class Type>
using InterfaceOf = std::remove_cv_t<std::remove_pointer_t<std::remove_reference_t<Type>>>;

// The root of all interfaces. An object lives until every reference on it has been given back.
//
// Ownership: an interface pointer that a call hands out is a reference of the caller's own.
// Thread-safety: AddRef and Release of this layer's objects may be called from any thread.
struct ZTK_API IUnknown {
    // S_OK and a new reference in *object, or E_NOINTERFACE with *object null; E_POINTER when
    // object is null. An object of this layer gives the same pointer for an interface each time;
    // two references are to one object when they give the same IUnknown.
    virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;

    // Both return the references left, which is for diagnostics only.
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

    template <class Interface>
    HRESULT QueryInterface(Interface** object) {
        return QueryInterface(InterfaceIdOf<Interface>::value, reinterpret_cast<void**>(object));
    }

  protected:
    // Objects end by Release only.
    ~IUnknown() = default;
};
using LPUNKNOWN = IUnknown*;

inline constexpr IID IID_IUnknown{0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

template <>
struct InterfaceIdOf<IUnknown> {
    static constexpr const IID& value = IID_IUnknown;
};

// Concurrency models for CoInitializeEx: one of the first two. The others may be added and have no
// effect.
enum COINIT : DWORD {
    COINIT_MULTITHREADED = 0x0,
    COINIT_APARTMENTTHREADED = 0x2,
    COINIT_DISABLE_OLE1DDE = 0x4,
    COINIT_SPEED_OVER_MEMORY = 0x8,
};

// Where an object may run. All classes of this layer run in the process: CLSCTX_INPROC_SERVER must
// be among the values, the others have no effect.
enum CLSCTX : DWORD {
    CLSCTX_INPROC_SERVER = 0x1,
    CLSCTX_INPROC_HANDLER = 0x2,
    CLSCTX_LOCAL_SERVER = 0x4,
    CLSCTX_REMOTE_SERVER = 0x10,
    CLSCTX_ALL = 0x17,
};

// Initialises COM on the calling thread, CoInitialize apartment-threaded. S_OK the first time,
// S_FALSE when the thread is initialised already; both are balanced by one CoUninitialize.
// RPC_E_CHANGED_MODE when the thread is initialised in the other model, E_INVALIDARG for a reserved
// pointer that is not null and for flags other than those of COINIT; these are not balanced.
//
// The model is only remembered: no proxies stand between threads in either of them.
ZTK_API HRESULT CoInitialize(LPVOID reserved) noexcept;
ZTK_API HRESULT CoInitializeEx(LPVOID reserved, DWORD flags) noexcept;

// Takes one initialisation of the calling thread back; ignored when there is none. Objects that are
// still referenced stay usable.
ZTK_API void CoUninitialize() noexcept;

// The class that a ProgID names; the case of ASCII letters does not count. S_OK; CO_E_CLASSSTRING
// with a zero id when no class of the layer has that name or SetClassAvailable has taken it away;
// E_INVALIDARG for a null argument.
ZTK_API HRESULT CLSIDFromProgID(LPCOLESTR prog_id, CLSID* id) noexcept;

// The id that a text "{...}" spells, whether there is such a class or not; any other text is taken
// for a ProgID. S_OK; CO_E_CLASSSTRING with a zero id; E_INVALIDARG for a null argument.
ZTK_API HRESULT CLSIDFromString(LPCOLESTR text, CLSID* id) noexcept;

// Makes an object and hands out the interface asked for, with a reference that is the caller's:
// S_OK. Failures leave *object null: CO_E_NOTINITIALIZED when the calling thread has not
// initialised COM, REGDB_E_CLASSNOTREG for a class that is unknown or taken away and for a context
// without CLSCTX_INPROC_SERVER, CLASS_E_NOAGGREGATION when outer is not null, E_OUTOFMEMORY,
// E_NOINTERFACE. E_POINTER when object is null.
ZTK_API HRESULT CoCreateInstance(REFCLSID id, LPUNKNOWN outer, DWORD context, REFIID iid,
                                 LPVOID* object) noexcept;

// Does nothing, because objects of this layer run from the start: S_OK, or E_INVALIDARG for a null
// object.
ZTK_API HRESULT OleRun(LPUNKNOWN object) noexcept;

// Takes a class out of the registry, or puts it back, for the whole process: what a host meets on a
// machine where the class is not installed. Both classes are there at first. Returns false for a
// ProgID that the layer does not know. Safe from any thread.
ZTK_API bool SetClassAvailable(LPCWSTR prog_id, bool available) noexcept;

// The documents, nodes, attributes and attribute maps of the layer that are alive in the process
// now. For leak checks.
[[nodiscard]] ZTK_API SIZE_T LiveComObjects() noexcept;

}  // namespace ZTKPosix

using ZTKPosix::CLSID;
using ZTKPosix::CLSIDFromProgID;
using ZTKPosix::CLSIDFromString;
using ZTKPosix::CoCreateInstance;
using ZTKPosix::CoInitialize;
using ZTKPosix::CoInitializeEx;
using ZTKPosix::CoUninitialize;
using ZTKPosix::GUID;
using ZTKPosix::IID;
using ZTKPosix::IID_IUnknown;
using ZTKPosix::IsEqualGUID;
using ZTKPosix::IsEqualIID;
using ZTKPosix::IUnknown;
using ZTKPosix::LPCOLESTR;
using ZTKPosix::LPOLESTR;
using ZTKPosix::LPUNKNOWN;
using ZTKPosix::OLECHAR;
using ZTKPosix::OleRun;
using ZTKPosix::REFCLSID;
using ZTKPosix::REFGUID;
using ZTKPosix::REFIID;
using enum ZTKPosix::COINIT;
using enum ZTKPosix::CLSCTX;

// The id of the interface that a type or an expression names.
#if !defined(__uuidof)
#define __uuidof(thing) \
    (::ZTKPosix::InterfaceIdOf<::ZTKPosix::InterfaceOf<__typeof__(thing)>>::value)
#endif

#if !defined(STDMETHODCALLTYPE)
#define STDMETHODCALLTYPE
#endif
