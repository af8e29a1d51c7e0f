// Memory for objects and the names behind them.
#pragma once

#include <cstring>
#include <new>

#include "platform/memory/allocation.h"
#include "platform/posix/kernel/object_names.h"

namespace ZTKPosix {

// An object with its maker's reference, which it keeps until it is published. Null when memory is
// short, with the last error set.
template <typename Object, typename... Arguments>
Object* NewObject(const ObjectName& name, Arguments... arguments) noexcept {
    void* memory = ZTK::allocation::RuntimeAlloc(sizeof(Object) + name.length * sizeof *name.text);
    if (memory == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    auto* object = new (memory) Object(arguments...);
    if (name.length != 0) {
        auto* text = reinterpret_cast<wchar_t*>(object + 1);
        std::memcpy(text, name.text, name.length * sizeof *name.text);
        object->name = text;
        object->name_length = name.length;
    }
    return object;
}

}  // namespace ZTKPosix
