// The smart reference of the compiler's COM support.
#pragma once

#include <cstddef>

#include "ztk/platform/posix/comutil.h"

namespace ZTKPosix {

// An interface with its id, as the smart reference wants it.
template <class InterfaceType, const IID* Id>
struct ZTK_API _com_IIID {
    using Interface = InterfaceType;
    static const IID& GetIID() noexcept { return *Id; }
};

// A counted reference on an interface, or none.
//
// Ownership: it adds a reference of its own to an interface that it is made from or assigned,
// unless that is taken over (add_ref false, Attach), and releases it when it goes or is changed.
//
// Made from or assigned another interface it asks the object for its own: an object that does not
// have it gives none, any other failure throws _com_error; what was assigned to stays as it was
// then. Use of a missing object throws _com_error with E_POINTER. Taking the address releases the
// reference first, for a call to store a new one. Thread-safety: none; an object is used by one
// thread at a time.
template <class Traits>
class ZTK_API _com_ptr_t {
  public:
    using Interface = typename Traits::Interface;

    static const IID& GetIID() noexcept { return Traits::GetIID(); }

    _com_ptr_t() noexcept = default;
    explicit(false) _com_ptr_t(std::nullptr_t) noexcept {}
    explicit(false) _com_ptr_t(Interface* object) noexcept : object_(object) { AddReference(); }
    // With add_ref false the caller's reference is taken over.
    _com_ptr_t(Interface* object, bool add_ref) noexcept : object_(object) {
        if (add_ref) {
            AddReference();
        }
    }
    _com_ptr_t(const _com_ptr_t& other) noexcept : object_(other.object_) { AddReference(); }
    _com_ptr_t(_com_ptr_t&& other) noexcept : object_(other.Detach()) {}
    template <class OtherTraits>
    explicit(false) _com_ptr_t(const _com_ptr_t<OtherTraits>& other) {
        QueryFrom(other.GetInterfacePtr());
    }
    template <class OtherInterface>
    explicit(false) _com_ptr_t(OtherInterface* other) {
        QueryFrom(other);
    }
    ~_com_ptr_t() noexcept { DropReference(); }

    _com_ptr_t& operator=(std::nullptr_t) noexcept {
        DropReference();
        return *this;
    }
    _com_ptr_t& operator=(Interface* object) noexcept {
        if (object_ != object) {
            _com_ptr_t(object).Swap(*this);
        }
        return *this;
    }
    _com_ptr_t& operator=(const _com_ptr_t& other) noexcept { return *this = other.object_; }
    _com_ptr_t& operator=(_com_ptr_t&& other) noexcept {
        _com_ptr_t(static_cast<_com_ptr_t&&>(other)).Swap(*this);
        return *this;
    }
    template <class OtherTraits>
    _com_ptr_t& operator=(const _com_ptr_t<OtherTraits>& other) {
        _com_ptr_t(other).Swap(*this);
        return *this;
    }
    template <class OtherInterface>
    _com_ptr_t& operator=(OtherInterface* other) {
        _com_ptr_t(other).Swap(*this);
        return *this;
    }

    // Take over or hand over a reference without counting.
    void Attach(Interface* object) noexcept {
        DropReference();
        object_ = object;
    }
    void Attach(Interface* object, bool add_ref) noexcept {
        Attach(object);
        if (add_ref) {
            AddReference();
        }
    }
    [[nodiscard]] Interface* Detach() noexcept {
        Interface* object = object_;
        object_ = nullptr;
        return object;
    }

    explicit(false) operator Interface*() const noexcept { return object_; }
    Interface& operator*() const { return *Checked(); }
    Interface* operator->() const { return Checked(); }
    Interface** operator&() noexcept {
        DropReference();
        return &object_;
    }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    [[nodiscard]] bool operator!() const noexcept { return object_ == nullptr; }

    [[nodiscard]] Interface* GetInterfacePtr() const noexcept { return object_; }
    [[nodiscard]] Interface*& GetInterfacePtr() noexcept { return object_; }

    // Count by hand. Throw E_POINTER without an object.
    void AddRef() { Checked()->AddRef(); }
    void Release() {
        Interface* object = Checked();
        object_ = nullptr;
        object->Release();
    }

    // Drops the reference held and makes an object of that class, which a ProgID or a text "{...}"
    // may name. S_OK, or the failure of CoCreateInstance, CLSIDFromProgID, CLSIDFromString or
    // QueryInterface, E_INVALIDARG for a null name; then there is no object. A context with
    // CLSCTX_LOCAL_SERVER or CLSCTX_REMOTE_SERVER makes the object run before it is asked for its
    // interface.
    HRESULT CreateInstance(REFCLSID id, IUnknown* outer = nullptr,
                           DWORD context = CLSCTX_ALL) noexcept {
        DropReference();
        if ((context & (CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER)) == 0) {
            return CoCreateInstance(id, outer, context, GetIID(),
                                    reinterpret_cast<void**>(&object_));
        }
        // An object outside the process has to run before it can be asked for more than IUnknown.
        IUnknown* unknown = nullptr;
        HRESULT result =
            CoCreateInstance(id, outer, context, IID_IUnknown, reinterpret_cast<void**>(&unknown));
        if (FAILED(result)) {
            return result;
        }
        result = OleRun(unknown);
        if (SUCCEEDED(result)) {
            result = unknown->QueryInterface(GetIID(), reinterpret_cast<void**>(&object_));
        }
        unknown->Release();
        return result;
    }
    HRESULT CreateInstance(LPCWSTR class_name, IUnknown* outer = nullptr,
                           DWORD context = CLSCTX_ALL) noexcept {
        // The reference goes also when the name leads nowhere.
        DropReference();
        if (class_name == nullptr) {
            return E_INVALIDARG;
        }
        CLSID id;
        const HRESULT result = class_name[0] == L'{' ? CLSIDFromString(class_name, &id)
                                                     : CLSIDFromProgID(class_name, &id);
        return FAILED(result) ? result : CreateInstance(id, outer, context);
    }

    // Asks the object for another interface, with a reference for the caller. E_POINTER without an
    // object, with *other as it was.
    template <class OtherInterface>
    HRESULT QueryInterface(REFIID iid, OtherInterface** other) const noexcept {
        if (object_ == nullptr) {
            return E_POINTER;
        }
        return object_->QueryInterface(iid, reinterpret_cast<void**>(other));
    }

  private:
    void AddReference() noexcept {
        if (object_ != nullptr) {
            object_->AddRef();
        }
    }
    void DropReference() noexcept {
        if (Interface* object = Detach(); object != nullptr) {
            object->Release();
        }
    }
    void Swap(_com_ptr_t& other) noexcept {
        Interface* object = object_;
        object_ = other.object_;
        other.object_ = object;
    }
    Interface* Checked() const {
        if (object_ == nullptr) {
            _com_issue_error(E_POINTER);
        }
        return object_;
    }
    void QueryFrom(IUnknown* other) {
        if (other == nullptr) {
            return;
        }
        const HRESULT result = other->QueryInterface(GetIID(), reinterpret_cast<void**>(&object_));
        if (FAILED(result)) {
            object_ = nullptr;
            if (result != E_NOINTERFACE) {
                _com_issue_error(result);
            }
        }
    }

    Interface* object_ = nullptr;
};

// Whether both hold the same interface of the same object, or none. COM compares objects by their
// IUnknown; objects of this layer give the same pointer for an interface each time, so both
// comparisons have the same result.
template <class Traits>
[[nodiscard]] bool operator==(const _com_ptr_t<Traits>& a, const _com_ptr_t<Traits>& b) noexcept {
    return a.GetInterfacePtr() == b.GetInterfacePtr();
}
template <class Traits>
[[nodiscard]] bool operator==(const _com_ptr_t<Traits>& a, std::nullptr_t) noexcept {
    return a.GetInterfacePtr() == nullptr;
}
template <class Traits>
[[nodiscard]] bool operator==(const _com_ptr_t<Traits>& a, typename Traits::Interface* b) noexcept {
    return a.GetInterfacePtr() == b;
}

}  // namespace ZTKPosix

using ZTKPosix::_com_IIID;
using ZTKPosix::_com_ptr_t;

// Names the smart reference of an interface: InterfacePtr.
#if !defined(_COM_SMARTPTR_TYPEDEF)
#define _COM_SMARTPTR_TYPEDEF(Interface, iid) \
    using Interface##Ptr = ::ZTKPosix::_com_ptr_t<::ZTKPosix::_com_IIID<Interface, &(iid)>>
#endif
