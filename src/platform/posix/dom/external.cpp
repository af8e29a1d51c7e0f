#include "platform/posix/dom/external.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "platform/memory/allocation.h"
#include "platform/posix/text/runtime_text.h"
#include "text/ascii.h"
#include "ztk/platform/posix/msxml.h"

namespace ZTKPosix {

namespace {

constinit std::atomic<bool> externals_allowed{true};

}  // namespace

void SetExternalsAllowed(bool allowed) noexcept {
    externals_allowed.store(allowed, std::memory_order_relaxed);
}

namespace dom {

namespace {

constexpr std::string_view kScheme = "file:";
constexpr std::string_view kLocalHost = "localhost";

bool StartsWith(std::string_view text, std::string_view start) noexcept {
    return text.size() >= start.size() && _strnicmp(text.data(), start.data(), start.size()) == 0;
}

// Replaces "%XX" in place. False when that would put a terminator into the path.
bool Unescape(char* path) noexcept {
    char* target = path;
    for (const char* source = path; *source != '\0'; ++target) {
        const int high = *source == '%' ? ZTK::ascii::HexDigitValue(source[1]) : -1;
        const int low = high >= 0 ? ZTK::ascii::HexDigitValue(source[2]) : -1;
        if (low >= 0) {
            *target = static_cast<char>(high << 4 | low);
            source += 3;
        } else {
            *target = *source++;
        }
        if (*target == '\0') {
            return false;
        }
    }
    *target = '\0';
    return true;
}

char* Join(std::string_view directory, std::string_view name) noexcept {
    void* const storage = ZTK::allocation::RuntimeAlloc(directory.size() + name.size() + 1);
    if (storage == nullptr) {
        return nullptr;
    }
    char* const joined = static_cast<char*>(storage);
    std::memcpy(joined, directory.data(), directory.size());
    std::memcpy(joined + directory.size(), name.data(), name.size());
    joined[directory.size() + name.size()] = '\0';
    return joined;
}

// The absolute path in a file: address, still escaped; empty when the address names another host.
std::string_view PathOfAddress(std::string_view address) noexcept {
    address.remove_prefix(kScheme.size());
    if (address.substr(0, 2) == "//") {
        address.remove_prefix(2);
        if (StartsWith(address, kLocalHost)) {
            address.remove_prefix(kLocalHost.size());
        }
    }
    return !address.empty() && address.front() == '/' ? address : std::string_view{};
}

// Whether it names a scheme, as network addresses do. A relative path can have a colon only behind
// a slash.
bool HasScheme(std::string_view address) noexcept {
    const std::size_t mark = address.find_first_of(":/");
    return mark != std::string_view::npos && address[mark] == ':';
}

}  // namespace

bool ExternalsAllowed() noexcept {
    return externals_allowed.load(std::memory_order_relaxed);
}

char* ResolveLocalFile(const char* address, const char* base) noexcept {
    const std::string_view text = address;
    if (StartsWith(text, kScheme)) {
        const std::string_view path = PathOfAddress(text);
        char* const copy = path.empty() ? nullptr : Join("", path);
        if (copy != nullptr && !Unescape(copy)) {
            ZTK::allocation::RuntimeFree(copy);
            return nullptr;
        }
        return copy;
    }
    if (!text.empty() && text.front() == '/') {
        return Join("", text);
    }
    if (base == nullptr || text.empty() || HasScheme(text)) {
        return nullptr;
    }
    const std::string_view file = base;
    return Join(file.substr(0, file.rfind('/') + 1), text);
}

// A device or a pipe would keep the reader waiting; it is opened without waiting and then turned
// down.
LocalFile::LocalFile(const char* path) noexcept
    : descriptor_(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {
    struct stat status {};
    if (IsOpen() && (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))) {
        close(descriptor_);
        descriptor_ = -1;
    }
    size_ = static_cast<std::size_t>(status.st_size);
}

LocalFile::~LocalFile() {
    if (IsOpen()) {
        close(descriptor_);
    }
}

bool LocalFile::Read(char* buffer, std::size_t capacity, std::size_t& length) noexcept {
    length = 0;
    while (length < capacity) {
        const ssize_t count = read(descriptor_, buffer + length, capacity - length);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            length += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace dom

}  // namespace ZTKPosix
