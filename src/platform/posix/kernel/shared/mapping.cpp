#include "platform/posix/kernel/shared/mapping.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/posix/kernel/shared/process_identity.h"
#include "platform/posix/kernel/shared/seat.h"
#include "platform/posix/kernel/shared/shared_futex.h"

namespace ZTKPosix::shared {

constinit Table* table = nullptr;

namespace {

constinit std::atomic<Sharing> sharing{Sharing::kUndecided};

// A bit for each block of slots and for each seat that this process has found memory for.
constinit std::atomic<std::uint64_t> ready_slots[kMaxSlots / kSlotsPerBlock / 64]{};
constinit std::atomic<std::uint64_t> ready_seats[kMaxSeats / 64]{};

// Errors that may have gone at the next try.
bool IsShortage(int error) noexcept {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOSPC ||
           error == EDQUOT || error == EINTR || error == EAGAIN;
}

Sharing Refusal(int error) noexcept {
    return IsShortage(error) ? Sharing::kFailed : Sharing::kLocal;
}

// A table is for processes that see each other under the same ids: so each namespace of processes
// has its own. That of times belongs to it because a process is known by its time of start.
bool MakePath(char (&path)[128]) noexcept {
    struct stat processes;
    struct stat times;
    if (stat("/proc/self/ns/pid", &processes) != 0) {
        return false;
    }
    if (stat("/proc/self/ns/time", &times) != 0) {
        times.st_ino = 0;
    }
    snprintf(path, sizeof path, "/dev/shm/ztk-names-%u-%llu-%llu-%u",
             static_cast<unsigned>(geteuid()), static_cast<unsigned long long>(processes.st_ino),
             static_cast<unsigned long long>(times.st_ino), kLayoutVersion);
    return true;
}

constexpr int kOpenFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
constexpr mode_t kMode = 0600;

// Opens the file, or makes it. A process's umask may take the new file's permissions away: they are
// given back here, and also if the maker died in between.
int OpenFile(const char* path) noexcept {
    int file = open(path, kOpenFlags | O_CREAT | O_EXCL, kMode);
    if (file >= 0) {
        if (fchmod(file, kMode) != 0) {
            const int error = errno;
            close(file);
            errno = error;
            return -1;
        }
        return file;
    }
    if (errno != EEXIST) {
        return -1;
    }
    file = open(path, kOpenFlags);
    struct stat found;
    if (file < 0 && errno == EACCES && lstat(path, &found) == 0 && S_ISREG(found.st_mode) &&
        found.st_uid == geteuid() && (found.st_mode & 0777) != kMode && chmod(path, kMode) == 0) {
        file = open(path, kOpenFlags);
    }
    return file;
}

// Whether the file is one that only this user's processes can have written, in memory, and of the
// right size. A new one gets its size here.
Sharing CheckFile(int file) noexcept {
    struct stat found;
    struct statfs system;
    if (fstat(file, &found) != 0 || fstatfs(file, &system) != 0) {
        return Refusal(errno);
    }
    if (!S_ISREG(found.st_mode) || found.st_uid != geteuid() || found.st_nlink != 1 ||
        (found.st_mode & 0077) != 0 || system.f_type != TMPFS_MAGIC) {
        return Sharing::kLocal;
    }
    if (found.st_size == 0) {
        // Beyond the limit for files, the call would not only fail but raise a signal.
        rlimit most;
        if (getrlimit(RLIMIT_FSIZE, &most) != 0 || most.rlim_cur < sizeof(Table)) {
            return Sharing::kLocal;
        }
        // Any number of processes may do so at the same time.
        return ftruncate(file, sizeof(Table)) == 0 ? Sharing::kShared : Refusal(errno);
    }
    return found.st_size == sizeof(Table) ? Sharing::kShared : Sharing::kLocal;
}

// Gives the pages memory, and never takes any away. With a plain touch the process would end where
// the file system is full.
bool Populate(void* begin, std::size_t bytes) noexcept {
    constexpr int kPopulateWrite = 23;  // MADV_POPULATE_WRITE, which older headers lack
    int result;
    do {
        result = madvise(begin, bytes, kPopulateWrite);
    } while (result != 0 && (errno == EINTR || errno == EAGAIN));
    return result == 0;
}

Sharing MapFile(int file) noexcept {
    void* memory = mmap(nullptr, sizeof(Table), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        return Refusal(errno);
    }
    auto* mapped = static_cast<Table*>(memory);
    Sharing result = Sharing::kShared;
    if (!Populate(memory, offsetof(Table, slots))) {
        // EINVAL: an older system. All else is a lack of memory, whatever it is called.
        result = errno == EINVAL ? Sharing::kLocal : Sharing::kFailed;
    } else {
        std::uint32_t mark = 0;
        if (!mapped->layout.compare_exchange_strong(mark, kLayoutMark) && mark != kLayoutMark) {
            result = Sharing::kLocal;
        }
    }
    if (result != Sharing::kShared) {
        munmap(memory, sizeof(Table));
        return result;
    }
    table = mapped;
    return result;
}

Sharing TryAttach() noexcept {
    char path[128];
    ProcessIdentity self;
    if (sysconf(_SC_PAGESIZE) != kPageBytes || !HasSharedFutexes() || !CanTakeSeats()) {
        return Sharing::kLocal;
    }
    errno = 0;
    if (!ReadOwnIdentity(&self) || !MakePath(path)) {
        return Refusal(errno);
    }
    const int file = OpenFile(path);
    if (file < 0) {
        return Refusal(errno);
    }
    Sharing result = CheckFile(file);
    if (result == Sharing::kShared) {
        result = MapFile(file);
    }
    close(file);
    return result;
}

template <std::size_t N>
bool MakeReady(std::atomic<std::uint64_t> (&ready)[N], std::uint32_t index, void* begin,
               std::size_t bytes) noexcept {
    std::atomic<std::uint64_t>& word = ready[index / 64];
    const std::uint64_t bit = std::uint64_t{1} << (index % 64);
    if ((word.load(std::memory_order_relaxed) & bit) != 0) {
        return true;
    }
    if (!Populate(begin, bytes)) {
        return false;
    }
    word.fetch_or(bit, std::memory_order_relaxed);
    return true;
}

}  // namespace

Sharing Attach() noexcept {
    Sharing result = sharing.load(std::memory_order_acquire);
    if (result == Sharing::kUndecided) {
        const LockGuard guard(attach_lock);
        result = sharing.load(std::memory_order_relaxed);
        if (result == Sharing::kUndecided) {
            result = TryAttach();
            if (result != Sharing::kFailed) {
                sharing.store(result, std::memory_order_release);
            }
        }
    }
    return result;
}

Slot* SlotAt(std::uint32_t index) noexcept {
    if (index >= kMaxSlots) {
        return nullptr;
    }
    const std::uint32_t block = index / kSlotsPerBlock;
    Slot* const first = &table->slots[block * kSlotsPerBlock];
    return MakeReady(ready_slots, block, first, sizeof(Slot) * kSlotsPerBlock)
               ? &table->slots[index]
               : nullptr;
}

SeatPage* SeatAt(std::uint32_t index) noexcept {
    if (index >= kMaxSeats) {
        return nullptr;
    }
    SeatPage* const seat = &table->seats[index];
    return MakeReady(ready_seats, index, seat, sizeof *seat) ? seat : nullptr;
}

void Detach() noexcept {
    const LockGuard guard(attach_lock);
    if (table != nullptr) {
        munmap(table, sizeof(Table));
        table = nullptr;
    }
    for (auto& word : ready_slots) {
        word.store(0, std::memory_order_relaxed);
    }
    for (auto& word : ready_seats) {
        word.store(0, std::memory_order_relaxed);
    }
    sharing.store(Sharing::kUndecided, std::memory_order_relaxed);
}

}  // namespace ZTKPosix::shared
