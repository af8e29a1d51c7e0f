// Handle values and the objects they name.
#pragma once

#include "platform/posix/kernel/kernel_object.h"

namespace ZTKPosix {

// A handle value is made of a slot's index and of how often the slot has been used before. It is a
// multiple of four, as on the platform, never null, never GetCurrentProcess(). A slot that has run
// out of generations is not used again, so no value is given out twice.
using HandleValue = std::uintptr_t;

inline constexpr unsigned kHandleTagBits = 2;  // always 0
inline constexpr unsigned kHandleIndexBits = 20;
inline constexpr unsigned kHandleGenerationShift = kHandleTagBits + kHandleIndexBits;

inline constexpr std::uint32_t kSlotsPerChunk = 1024;
inline constexpr std::uint32_t kChunks = (1U << kHandleIndexBits) / kSlotsPerChunk;

struct HandleSlot {
    KernelObject* object;     // null while no handle uses the slot
    HandleValue value;        // of the open handle, or of the next one to be
    std::uint32_t next_free;  // index of a slot, or kNoSlot
};
inline constexpr std::uint32_t kNoSlot = ~0U;

// Chunks are neither moved nor freed while the library is loaded.
struct HandleTable {
    std::uint32_t slots_made;
    std::uint32_t first_free;
    HandleSlot* chunks[kChunks];
};
extern HandleTable handle_table ZTK_GUARDED_BY(dispatcher_lock);

inline HandleSlot& HandleSlotAt(std::uint32_t index) noexcept ZTK_REQUIRES(dispatcher_lock) {
    return handle_table.chunks[index / kSlotsPerChunk][index % kSlotsPerChunk];
}

inline std::uint32_t HandleIndex(HANDLE handle) noexcept {
    return static_cast<std::uint32_t>(reinterpret_cast<HandleValue>(handle) >> kHandleTagBits) &
           ((1U << kHandleIndexBits) - 1);
}

// The object of an open handle; null for every other value. Like the calls below it leaves the last
// error alone.
inline KernelObject* FindObject(HANDLE handle) noexcept ZTK_REQUIRES(dispatcher_lock) {
    const std::uint32_t index = HandleIndex(handle);
    if (index >= handle_table.slots_made) {
        return nullptr;
    }
    const HandleSlot& slot = HandleSlotAt(index);
    return slot.value == reinterpret_cast<HandleValue>(handle) ? slot.object : nullptr;
}

// The same for one kind of object: null also for a handle of another kind.
template <typename Object>
Object* FindObject(HANDLE handle) noexcept ZTK_REQUIRES(dispatcher_lock) {
    KernelObject* object = FindObject(handle);
    return object != nullptr && object->kind == &Object::kKind ? static_cast<Object*>(object)
                                                               : nullptr;
}

// Opens a further handle of object. Null when memory is short or a million handles are open; the
// object is then as before.
HANDLE OpenHandle(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);

// Closes a handle, and discards its object with its last reference. Returns false, and does
// nothing, when it is not open. If it was the last one of a shared object, *unnamed becomes that
// object, for GiveUpName; only who knows that it is none, or not the last, passes null.
bool CloseOpenHandle(HANDLE handle, DispatcherSection& section, KernelObject** unnamed) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// Calls visit(object) for every open handle; so for an object with several handles as often.
template <typename Visit>
void ForEachOpenObject(Visit visit) noexcept ZTK_REQUIRES(dispatcher_lock) {
    for (std::uint32_t index = 0; index < handle_table.slots_made; ++index) {
        if (KernelObject* object = HandleSlotAt(index).object; object != nullptr) {
            visit(*object);
        }
    }
}

// Closes every open handle and frees the table. For the unloading of the library.
void TearDownHandles() noexcept ZTK_EXCLUDES(dispatcher_lock);

}  // namespace ZTKPosix
