// What the layer's COM objects share: storage, identity, the reference count, the census of live
// objects.
#pragma once

#include <atomic>
#include <new>
#include <utility>

#include "platform/memory/allocation.h"
#include "ztk/platform/posix/objbase.h"

namespace ZTKPosix {

// Counts the object that it is a member of as alive; see LiveComObjects.
class LiveObject {
  public:
    LiveObject() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;
    ~LiveObject() { count_.fetch_sub(1, std::memory_order_relaxed); }

    [[nodiscard]] static SIZE_T Count() noexcept { return count_.load(std::memory_order_relaxed); }

  private:
    inline static constinit std::atomic<SIZE_T> count_{0};
};

// Implements IUnknown over the interfaces Main and Others for Derived, which is final, is made by
// MakeComObject and then has one reference. References may come and go on any thread; the last one
// to go destroys.
//
// Main is the object's identity: it is handed out for IUnknown and for every interface that
// Derived::Answers tells. Each of Others is handed out for its own id.
template <class Derived, class Main, class... Others>
class ComObject : public Main, public Others... {
  public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        auto* const self = static_cast<Derived*>(this);
        if (iid == IID_IUnknown || self->Answers(iid)) {
            *object = static_cast<Main*>(self);
        } else {
            ((iid == InterfaceIdOf<Others>::value ? * object = static_cast<Others*>(self)
                                                  : nullptr),
             ...);
        }
        if (*object == nullptr) {
            return E_NOINTERFACE;
        }
        self->AddRef();
        return S_OK;
    }

    ULONG AddRef() override { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }

    ULONG Release() override {
        const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) {
            auto* self = static_cast<Derived*>(this);
            self->~Derived();
            ZTK::allocation::RuntimeFree(self);
        }
        return left;
    }

  protected:
    ComObject() noexcept = default;
    ~ComObject() = default;

  private:
    std::atomic<ULONG> references_{1};
};

// Null when memory is short.
template <class Object, class... Arguments>
Object* MakeComObject(Arguments&&... arguments) noexcept {
    void* storage = ZTK::allocation::RuntimeAlloc(sizeof(Object));
    return storage != nullptr ? ::new (storage) Object(std::forward<Arguments>(arguments)...)
                              : nullptr;
}

}  // namespace ZTKPosix
