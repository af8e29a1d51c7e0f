#include "platform/posix/kernel/shared/process_identity.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ZTKPosix::shared {

namespace {

struct Status {
    ProcessIdentity identity;
    bool ended;
};

// Numbers in /proc/PID/stat, counted from the state, which follows the name in parentheses.
constexpr int kThreads = 17;
constexpr int kStartTime = 19;
constexpr int kStartStack = 25;

bool Parse(char* text, Status* status) noexcept {
    // The name may hold anything, parentheses too.
    char* field = std::strrchr(text, ')');
    if (field == nullptr || field[1] == 0 || field[2] == 0) {
        return false;
    }
    field += 2;
    const char state = *field++;
    std::uint64_t threads = 0;
    for (int i = 1; i <= kStartStack; ++i) {
        char* end = nullptr;
        const std::uint64_t value = std::strtoull(field, &end, 10);
        if (end == field) {
            return false;
        }
        field = end;
        if (i == kThreads) {
            threads = value;
        } else if (i == kStartTime) {
            status->identity.start_time = value;
        } else if (i == kStartStack) {
            status->identity.start_stack = value;
        }
    }
    // A first thread that has ended shows the same state while others run on.
    status->ended = (state == 'Z' || state == 'X') && threads <= 1;
    return true;
}

enum class Answer { kRead, kGone, kUnknown };

Answer ReadStatus(const char* path, Status* status) noexcept {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return errno == ENOENT ? Answer::kGone : Answer::kUnknown;
    }
    char text[1024];
    ssize_t length;
    do {
        length = read(file, text, sizeof text - 1);
    } while (length < 0 && errno == EINTR);
    const int error = errno;
    close(file);
    if (length <= 0) {
        return length < 0 && error == ESRCH ? Answer::kGone : Answer::kUnknown;
    }
    text[length] = 0;
    status->identity.pid = std::strtoull(text, nullptr, 10);
    return Parse(text, status) ? Answer::kRead : Answer::kUnknown;
}

constexpr std::size_t kPathBytes = 48;

}  // namespace

bool ReadOwnIdentity(ProcessIdentity* identity) noexcept {
    Status status{};
    if (ReadStatus("/proc/self/stat", &status) != Answer::kRead ||
        status.identity.pid != static_cast<std::uint64_t>(getpid())) {
        return false;
    }
    *identity = status.identity;
    return true;
}

bool IsAlive(const ProcessIdentity& identity) noexcept {
    char path[kPathBytes];
    snprintf(path, sizeof path, "/proc/%llu/stat", static_cast<unsigned long long>(identity.pid));
    Status status{};
    switch (ReadStatus(path, &status)) {
        case Answer::kGone:
            return false;
        case Answer::kUnknown:
            return true;
        case Answer::kRead:
            break;
    }
    const ProcessIdentity& now = status.identity;
    return !status.ended && now.start_time == identity.start_time &&
           (now.start_stack == identity.start_stack || now.start_stack == 0 ||
            identity.start_stack == 0);
}

bool ThreadExists(std::uint32_t thread_id) noexcept {
    char path[kPathBytes];
    snprintf(path, sizeof path, "/proc/%u", thread_id);
    return access(path, F_OK) == 0 || errno != ENOENT;
}

}  // namespace ZTKPosix::shared
