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

char* ResolveLocalFile(const char* address, const char* base, bool& no_memory) noexcept {
    const std::string_view text = address;
    const bool has_scheme = StartsWith(text, kScheme);
    std::string_view directory = "";  // not null: it is copied
    std::string_view path = text;
    no_memory = false;
    if (has_scheme) {
        path = PathOfAddress(text);
    } else if (text.empty() || (text.front() != '/' && (base == nullptr || HasScheme(text)))) {
        path = {};
    } else if (text.front() != '/') {
        const std::string_view file = base;
        directory = file.substr(0, file.rfind('/') + 1);
    }
    if (path.empty()) {
        return nullptr;
    }
    char* const joined = Join(directory, path);
    no_memory = joined == nullptr;
    if (joined != nullptr && has_scheme && !Unescape(joined)) {
        ZTK::allocation::RuntimeFree(joined);
        return nullptr;
    }
    return joined;
}

// Looked at twice, because another file may have taken the name before it was opened; opened
// without waiting for the same reason.
LocalFile::LocalFile(const char* path) noexcept : descriptor_(-1) {
    struct stat status {};
    if (stat(path, &status) != 0 || !S_ISREG(status.st_mode)) {
        return;
    }
    descriptor_ = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
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
