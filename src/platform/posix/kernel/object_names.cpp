#include "platform/posix/kernel/object_names.h"

#include <cstring>

#include "platform/posix/text/runtime_text.h"

namespace ZTKPosix {

namespace {

constexpr std::size_t kBuckets = 64;

constinit KernelObject* buckets[kBuckets] ZTK_GUARDED_BY(dispatcher_lock){};

KernelObject*& BucketOf(const wchar_t* name, std::size_t length) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    const std::uint32_t hash = HashName(name, length);
    return buckets[(hash ^ (hash >> 16)) % kBuckets];
}

constexpr wchar_t kLocal[] = L"Local\\";
constexpr wchar_t kGlobal[] = L"Global\\";

// The length of a prefix that the name begins with, or 0.
template <std::size_t N>
std::size_t PrefixLength(const wchar_t* name, const wchar_t (&prefix)[N]) noexcept {
    return wcsncmp(name, prefix, N - 1) == 0 ? N - 1 : 0;
}

// What the platform has in every namespace besides events and mutexes.
bool IsTaken(const wchar_t* name) noexcept {
    return wcscmp(name, L"Local") == 0 || wcscmp(name, L"Global") == 0 ||
           wcscmp(name, L"Session") == 0;
}

}  // namespace

std::uint32_t HashName(const wchar_t* name, std::size_t length) noexcept {
    std::uint32_t hash = 2166136261U;
    for (std::size_t i = 0; i < length; ++i) {
        hash = (hash ^ static_cast<std::uint16_t>(name[i])) * 16777619U;
    }
    return hash != 0 ? hash : 1;
}

DWORD ReadObjectName(LPCWSTR name, ObjectName* result) noexcept {
    *result = {nullptr, 0};
    if (name == nullptr || *name == 0) {
        return ERROR_SUCCESS;
    }
    if (*name == L'\\') {
        return ERROR_BAD_PATHNAME;
    }
    const std::size_t local = PrefixLength(name, kLocal);
    const std::size_t prefix = local != 0 ? local : PrefixLength(name, kGlobal);
    const wchar_t* const rest = name + prefix;
    if (*rest == 0 || *rest == L'\\') {
        return ERROR_INVALID_NAME;
    }
    if (wcschr(rest, L'\\') != nullptr) {
        return ERROR_PATH_NOT_FOUND;
    }
    if (IsTaken(rest)) {
        return ERROR_INVALID_HANDLE;
    }
    const std::size_t length = wcslen(rest);
    if (length > kMaxNameLength) {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    result->text = local != 0 ? rest : name;
    result->length = length + (local != 0 ? 0 : prefix);
    return ERROR_SUCCESS;
}

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
