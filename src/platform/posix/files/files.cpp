// CreateFileW, GetFileSize, ReadFile.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "platform/memory/allocation.h"
#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/text/code_page.h"

namespace ZTKPosix {

namespace {

constexpr int kNoFile = -1;

void CloseFile(KernelObject& file) noexcept;

// Always signalled: a wait on a file ends at once.
struct File : KernelObject {
    static constexpr ObjectKind kKind{nullptr, CloseFile};

    explicit File(int its_descriptor) noexcept
        : KernelObject(kKind, true), descriptor(its_descriptor) {}

    const int descriptor;
};

void CloseFile(KernelObject& file) noexcept {
    // Not repeated on EINTR: the descriptor is gone in any case, and nothing was written to it.
    (void)::close(static_cast<File&>(file).descriptor);
}

// Whether the directory that a path names a file in is there. Shortens the path to do so.
bool HasDirectory(char* path) noexcept {
    char* const slash = std::strrchr(path, '/');
    if (slash == nullptr) {
        return true;
    }
    slash[slash == path ? 1 : 0] = '\0';
    struct stat info {};
    return ::stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

// The last error for a system error.
DWORD FileError(int error) noexcept {
    switch (error) {
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case EACCES:
        case EPERM:
        case EISDIR:
            return ERROR_ACCESS_DENIED;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENAMETOOLONG:
            return ERROR_FILENAME_EXCED_RANGE;
        case ENXIO:  // a socket's name
            return ERROR_NOT_SUPPORTED;
        case EROFS:
            return ERROR_WRITE_PROTECT;
        case ENOSPC:
        case EDQUOT:
            return ERROR_DISK_FULL;
        case EBUSY:
        case ETXTBSY:
            return ERROR_BUSY;
        case ELOOP:
            return ERROR_CANT_RESOLVE_FILENAME;
        case EIO:
            return ERROR_READ_FAULT;
        default:
            return static_cast<DWORD>(SocketErrorFromErrno(error));
    }
}

DWORD OpenError(int error, char* path) noexcept {
    return error != ENOENT      ? FileError(error)
           : HasDirectory(path) ? ERROR_FILE_NOT_FOUND
                                : ERROR_PATH_NOT_FOUND;
}

// Opens a regular file; kNoFile with the last error set for everything else.
int OpenFile(LPCWSTR path) noexcept {
    char name[PATH_MAX];
    if (path == nullptr || *path == 0) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return kNoFile;
    }
    if (WideCharToMultiByte(CP_UTF8, 0, path, -1, name, sizeof name, nullptr, nullptr) == 0) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return kNoFile;
    }
    int file = kNoFile;
    do {
        // Not to wait for somebody who opens the other end of a pipe.
        file = ::open(name, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    } while (file == kNoFile && errno == EINTR);
    if (file == kNoFile) {
        SetLastError(OpenError(errno, name));
        return kNoFile;
    }
    struct stat info {};
    const bool told = ::fstat(file, &info) == 0;
    if (told && S_ISREG(info.st_mode)) {
        return file;
    }
    SetLastError(!told                   ? FileError(errno)
                 : S_ISDIR(info.st_mode) ? ERROR_ACCESS_DENIED
                                         : ERROR_NOT_SUPPORTED);
    (void)::close(file);  // nothing was written to it
    return kNoFile;
}

// Keeps a file open for the calls on its descriptor, which are made without the dispatcher lock.
class OpenFileUse {
  public:
    explicit OpenFileUse(HANDLE handle) noexcept {
        const DispatcherSection section;
        file_ = FindObject<File>(handle);
        if (file_ == nullptr) {
            SetLastError(ERROR_INVALID_HANDLE);
        } else {
            ++file_->references;
        }
    }
    OpenFileUse(const OpenFileUse&) = delete;
    OpenFileUse& operator=(const OpenFileUse&) = delete;
    ~OpenFileUse() {
        if (file_ != nullptr) {
            DispatcherSection section;
            section.Release(*file_);
        }
    }

    [[nodiscard]] int Descriptor() const noexcept {
        return file_ == nullptr ? kNoFile : file_->descriptor;
    }

  private:
    File* file_;
};

}  // namespace

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD /*share*/, LPSECURITY_ATTRIBUTES /*security*/,
                   DWORD disposition, DWORD /*attributes*/, HANDLE /*template_file*/) noexcept {
    if (access != GENERIC_READ || disposition != OPEN_EXISTING) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_HANDLE_VALUE;
    }
    const int descriptor = OpenFile(path);
    if (descriptor == kNoFile) {
        return INVALID_HANDLE_VALUE;
    }
    void* const memory = ZTK::allocation::RuntimeAlloc(sizeof(File));
    if (memory == nullptr) {
        (void)::close(descriptor);  // nothing was written to it
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    auto* const file = new (memory) File(descriptor);
    DispatcherSection section;
    HANDLE const handle = OpenHandle(*file);
    section.Release(*file);
    if (handle == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    SetLastError(ERROR_SUCCESS);  // as on the platform: the file was not made or emptied here
    return handle;
}

DWORD GetFileSize(HANDLE handle, LPDWORD high) noexcept {
    const OpenFileUse file(handle);
    struct stat info {};
    if (file.Descriptor() == kNoFile) {
        return INVALID_FILE_SIZE;
    }
    if (::fstat(file.Descriptor(), &info) != 0) {
        SetLastError(FileError(errno));
        return INVALID_FILE_SIZE;
    }
    const auto size = static_cast<std::uint64_t>(info.st_size);
    if (high != nullptr) {
        *high = static_cast<DWORD>(size >> 32);
    }
    const auto low = static_cast<DWORD>(size);
    if (low == INVALID_FILE_SIZE) {
        SetLastError(ERROR_SUCCESS);
    }
    return low;
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD count, LPDWORD read,
              LPOVERLAPPED overlapped) noexcept {
    if (read == nullptr || overlapped != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *read = 0;
    const OpenFileUse file(handle);
    if (file.Descriptor() == kNoFile) {
        return FALSE;
    }
    DWORD done = 0;
    while (done < count) {
        const ssize_t part =
            ::read(file.Descriptor(), static_cast<char*>(buffer) + done, count - done);
        if (part == 0) {
            break;
        }
        if (part < 0 && errno != EINTR) {
            SetLastError(errno == EFAULT ? ERROR_NOACCESS : ERROR_READ_FAULT);
            return FALSE;
        }
        done += part > 0 ? static_cast<DWORD>(part) : 0;
    }
    *read = done;
    return TRUE;
}

}  // namespace ZTKPosix
