// The one namespace of this process in which events and mutexes have names.
#pragma once

#include "platform/posix/kernel/kernel_object.h"

namespace ZTKPosix {

// The object of that name, of whatever kind, or null.
KernelObject* FindNamed(const wchar_t* name, std::size_t length) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// Makes the object's name known. REQUIRES: it has a name, which no other object has.
void RememberName(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);
void ForgetName(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);

}  // namespace ZTKPosix
