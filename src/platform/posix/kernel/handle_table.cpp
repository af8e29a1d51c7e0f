// Handle values, CloseHandle, DuplicateHandle.
#include "platform/posix/kernel/handle_table.h"

#include <limits>
#include <new>

#include "platform/memory/allocation.h"
#include "platform/posix/kernel/object_names.h"
#include "platform/posix/kernel/shared_objects.h"

namespace ZTKPosix {

constinit HandleTable handle_table{0, kNoSlot, {}};

namespace {

constexpr HandleValue kOneGeneration = HandleValue{1} << kHandleGenerationShift;

// One bit short of what fits: no handle has the top bit set, as GetCurrentProcess() has.
constexpr HandleValue kLastGeneration =
    (std::numeric_limits<HandleValue>::max() >> 1) / kOneGeneration;

// A slot that no handle uses, taken off the free list; kNoSlot when memory is short.
std::uint32_t TakeSlot() noexcept ZTK_REQUIRES(dispatcher_lock) {
    if (handle_table.first_free != kNoSlot) {
        const std::uint32_t index = handle_table.first_free;
        handle_table.first_free = HandleSlotAt(index).next_free;
        return index;
    }
    const std::uint32_t chunk = handle_table.slots_made / kSlotsPerChunk;
    if (chunk == kChunks) {
        return kNoSlot;
    }
    if (handle_table.chunks[chunk] == nullptr) {
        void* memory = ZTK::allocation::RuntimeAlloc(sizeof(HandleSlot) * kSlotsPerChunk);
        if (memory == nullptr) {
            return kNoSlot;
        }
        handle_table.chunks[chunk] = static_cast<HandleSlot*>(memory);
    }
    const std::uint32_t index = handle_table.slots_made++;
    // Generations start at 1: a handle is never a small number, null least of all.
    new (&HandleSlotAt(index))
        HandleSlot{nullptr, kOneGeneration | HandleValue{index} << kHandleTagBits, kNoSlot};
    return index;
}

void CloseSlot(std::uint32_t index, DispatcherSection& section, KernelObject** unnamed) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    HandleSlot& slot = HandleSlotAt(index);
    KernelObject& object = *slot.object;
    slot.object = nullptr;
    if (slot.value / kOneGeneration < kLastGeneration) {
        slot.value += kOneGeneration;
        slot.next_free = handle_table.first_free;
        handle_table.first_free = index;
    }
    if (--object.handles == 0 && object.name != nullptr) {
        ForgetName(object);
        if (IsShared(object) && unnamed != nullptr) {
            ++object.references;
            *unnamed = &object;
        }
    }
    section.Release(object);
}

}  // namespace

HANDLE OpenHandle(KernelObject& object) noexcept {
    const std::uint32_t index = TakeSlot();
    if (index == kNoSlot) {
        return nullptr;
    }
    HandleSlot& slot = HandleSlotAt(index);
    slot.object = &object;
    ++object.handles;
    ++object.references;
    return reinterpret_cast<HANDLE>(slot.value);
}

bool CloseOpenHandle(HANDLE handle, DispatcherSection& section, KernelObject** unnamed) noexcept {
    if (FindObject(handle) == nullptr) {
        return false;
    }
    CloseSlot(HandleIndex(handle), section, unnamed);
    return true;
}

void TearDownHandles() noexcept {
    DispatcherSection section;
    for (std::uint32_t index = 0; index < handle_table.slots_made; ++index) {
        if (HandleSlotAt(index).object != nullptr) {
            CloseSlot(index, section, nullptr);  // all names were given up before
        }
    }
    for (HandleSlot*& chunk : handle_table.chunks) {
        ZTK::allocation::RuntimeFree(chunk);
        chunk = nullptr;
    }
    handle_table.slots_made = 0;
    handle_table.first_free = kNoSlot;
}

BOOL CloseHandle(HANDLE handle) noexcept {
    if (handle == GetCurrentProcess()) {
        return TRUE;  // closing the pseudo handle is allowed and does nothing
    }
    KernelObject* unnamed = nullptr;
    {
        DispatcherSection section;
        if (!CloseOpenHandle(handle, section, &unnamed)) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
    }
    if (unnamed != nullptr) {
        GiveUpName(*unnamed);
    }
    return TRUE;
}

BOOL DuplicateHandle(HANDLE source_process, HANDLE source, HANDLE target_process, HANDLE* target,
                     DWORD /*access*/, BOOL /*inherit*/, DWORD options) noexcept {
    if (target == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *target = nullptr;
    DispatcherSection section;
    KernelObject* object = FindObject(source);
    if (object == nullptr || source_process != GetCurrentProcess() ||
        target_process != GetCurrentProcess()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    *target = OpenHandle(*object);
    if (*target == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0) {
        CloseOpenHandle(source, section, nullptr);
    }
    return TRUE;
}

HANDLE GetCurrentProcess() noexcept {
    return reinterpret_cast<HANDLE>(~HandleValue{0});
}

}  // namespace ZTKPosix
