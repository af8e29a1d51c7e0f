// The names of events and mutexes that this process has handles of.
#pragma once

#include "platform/posix/kernel/kernel_object.h"

namespace ZTKPosix {

struct ObjectName {
    const wchar_t* text;  // not terminated
    std::size_t length;   // in characters; 0 for an object without a name
};

// In characters, without the namespace in front.
inline constexpr std::size_t kMaxNameLength = 260;

// Never 0.
std::uint32_t HashName(const wchar_t* name, std::size_t length) noexcept;

// Reads a name as a host gives it: null, empty, or one in a namespace. The process's own is that of
// names without a prefix and of "Local\"; a name in "Global\" keeps its prefix, which makes it
// another. Returns 0, or the last error that the name fails with: see CreateEventW.
DWORD ReadObjectName(LPCWSTR name, ObjectName* result) noexcept;

// The object of that name, of whatever kind, or null. Names are compared character by
// character, so case counts; length is in characters. None of these calls fails or touches the
// last error.
KernelObject* FindNamed(const wchar_t* name, std::size_t length) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// Makes the object's name known, and unknown again. REQUIRES: it has a name, which no other object
// has; for ForgetName, it is known.
void RememberName(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);
void ForgetName(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);

}  // namespace ZTKPosix
