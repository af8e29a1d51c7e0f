#include "platform/posix/kernel/object_names.h"

#include <cstring>

namespace ZTKPosix {

namespace {

constexpr std::size_t kBuckets = 64;

constinit KernelObject* buckets[kBuckets] ZTK_GUARDED_BY(dispatcher_lock){};

KernelObject*& BucketOf(const wchar_t* name, std::size_t length) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    std::uint32_t hash = 2166136261U;
    for (std::size_t i = 0; i < length; ++i) {
        hash = (hash ^ static_cast<std::uint16_t>(name[i])) * 16777619U;
    }
    return buckets[(hash ^ (hash >> 16)) % kBuckets];
}

}  // namespace

KernelObject* FindNamed(const wchar_t* name, std::size_t length) noexcept {
    KernelObject* object = BucketOf(name, length);
    while (object != nullptr && (object->name_length != length ||
                                 std::memcmp(object->name, name, length * sizeof *name) != 0)) {
        object = object->next_named;
    }
    return object;
}

void RememberName(KernelObject& object) noexcept {
    KernelObject*& bucket = BucketOf(object.name, object.name_length);
    object.next_named = bucket;
    bucket = &object;
}

void ForgetName(KernelObject& object) noexcept {
    KernelObject** link = &BucketOf(object.name, object.name_length);
    while (*link != &object) {
        link = &(*link)->next_named;
    }
    *link = object.next_named;
}

}  // namespace ZTKPosix
