// Storage for a process-wide object whose construction and destruction the library's load and
// unload decide, not the order in which the runtime visits static objects.
#pragma once

#include <new>
#include <utility>

namespace ZTK::frame {

// Constant-initialized: usable as a namespace-scope object in any file. Built and destroyed by
// BuildStaticObjects and DestroyStaticObjects; in between, Get may be called from any thread.
template <typename T>
class StaticObject {
  public:
    void Build() noexcept { ::new (static_cast<void*>(storage_)) T(); }
    void Destroy() noexcept { Get().~T(); }
    T& Get() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }

  private:
    alignas(T) unsigned char storage_[sizeof(T)] = {};
};

}  // namespace ZTK::frame
