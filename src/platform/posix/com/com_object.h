// What the layer's COM objects share: storage, the reference count, the census of live objects.
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
    static constinit std::atomic<SIZE_T> count_;
};

// Implements AddRef and Release over Interfaces for Derived, which is made by MakeComObject and
// then has one reference. References may come and go on any thread; the last one to go destroys.
template <class Derived, class... Interfaces>
class ComObject : public Interfaces... {
  public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

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

// Hands out one more reference on an interface of object.
template <class Interface>
HRESULT HandOut(Interface* object, void** target) noexcept {
    object->AddRef();
    *target = object;
    return S_OK;
}

}  // namespace ZTKPosix
