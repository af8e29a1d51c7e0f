// What the DOM's objects share, and how their calls hand out an object or none.
#pragma once

#include "platform/posix/com/com_object.h"
#include "platform/posix/com/error_record.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix::dom {

// They are counted as alive, and leave error records for every interface that Derived::Answers
// tells.
template <class Derived, class Interface, class... Others>
class DomObject : public ComObject<Derived, Interface, ISupportErrorInfo, Others...> {
  public:
    HRESULT InterfaceSupportsErrorInfo(REFIID iid) override {
        return static_cast<Derived*>(this)->Answers(iid) ? S_OK : S_FALSE;
    }

  private:
    LiveObject alive_;
};

// A new object, which comes with its first reference; null when there was no memory for it.
template <class Object, class Interface>
[[nodiscard]] HRESULT HandOutNew(Object* object, Interface** target) noexcept {
    *target = object;
    return object != nullptr ? S_OK : Fail(E_OUTOFMEMORY);
}

// The answer of a call that finds nothing to hand out.
template <class Interface>
[[nodiscard]] HRESULT HandOutNone(Interface** target) noexcept {
    if (target == nullptr) {
        return Fail(E_INVALIDARG);
    }
    *target = nullptr;
    return S_FALSE;
}

}  // namespace ZTKPosix::dom
