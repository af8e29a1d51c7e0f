// The system's texts for last-error codes.
#include <cerrno>
#include <cstring>

#include "platform/posix/net/socket_error_map.h"
#include "ztk/platform.h"

namespace ZTKPosix {

namespace {

// A code with the error number of the same meaning, whose text is the system's, or, where the
// system has no such number, with a text of our own.
struct Message {
    DWORD code;
    int number;
    const char* text;

    constexpr Message(DWORD of, int same) : code(of), number(same), text(nullptr) {}
    constexpr Message(DWORD of, const char* own) : code(of), number(0), text(own) {}
};

// Socket codes that ErrnoFromSocketError knows are not repeated here.
constexpr Message kMessages[] = {
    {ERROR_SUCCESS, 0},
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, "Path not found"},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_INVALID_HANDLE, "Invalid handle"},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_READ_FAULT, EIO},
    {ERROR_GEN_FAILURE, "General failure"},
    {ERROR_NOT_SUPPORTED, ENOTSUP},
    {ERROR_INVALID_PARAMETER, EINVAL},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_INSUFFICIENT_BUFFER, "Buffer too small"},
    {ERROR_INVALID_NAME, "Invalid name"},
    {ERROR_BAD_PATHNAME, "Invalid path"},
    {ERROR_BUSY, EBUSY},
    {ERROR_ALREADY_EXISTS, "Object already exists"},
    {ERROR_ENVVAR_NOT_FOUND, "Environment variable not found"},
    {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_NOT_OWNER, "Mutex not owned by the caller"},
    {ERROR_MR_MID_NOT_FOUND, "No text for this code"},
    {ERROR_NOACCESS, EFAULT},
    {ERROR_RESOURCE_TYPE_NOT_FOUND, "Resource type not found"},
    {ERROR_RESOURCE_NAME_NOT_FOUND, "Resource name not found"},
    {ERROR_CANT_RESOLVE_FILENAME, ELOOP},
    {WSAEBADF, EBADF},
    {WSAEINPROGRESS, EINPROGRESS},
    {10059, ETOOMANYREFS},
    {10062, ELOOP},
    {10066, ENOTEMPTY},
    {10067, "Too many processes"},
    {10069, EDQUOT},
    {10070, ESTALE},
    {10071, EREMOTE},
    {10091, "Network subsystem not ready"},
    {WSAVERNOTSUPPORTED, "Version of Windows Sockets not supported"},
    {WSANOTINITIALISED, "Windows Sockets not started"},
    {10101, "Disconnect in progress"},
    {10102, "No more results"},
    {10103, ECANCELED},
    {10104, "Invalid procedure call table"},
    {10105, "Invalid service provider"},
    {10106, "Service provider failed to start"},
    {WSASYSCALLFAILURE, "System call failed"},
    {10108, "Service not found"},
    {WSATYPE_NOT_FOUND, "Service not available for this socket type"},
    {10110, "No more results"},
    {10111, ECANCELED},
    {10112, "Query refused"},
    {WSAHOST_NOT_FOUND, "Host not found"},
    {WSATRY_AGAIN, "Temporary failure in name resolution"},
    {WSANO_RECOVERY, "Non-recoverable failure in name resolution"},
    {WSANO_DATA, "No address associated with the name"},
};

// A text in ASCII, without line end, or null. It is not translated, so it is the same on every
// thread and in every locale.
const char* SystemText(DWORD code) noexcept {
    for (const Message& message : kMessages) {
        if (message.code == code) {
            return message.text != nullptr ? message.text : strerrordesc_np(message.number);
        }
    }
    const int number = ErrnoFromSocketError(static_cast<int>(code));
    return number != 0 ? strerrordesc_np(number) : nullptr;
}

DWORD Fail(DWORD code) noexcept {
    SetLastError(code);
    return 0;
}

template <class Char>
DWORD FormatSystemText(DWORD flags, DWORD code, Char* buffer, DWORD room) noexcept {
    if (flags != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS) ||
        buffer == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const char* const text = SystemText(code);
    if (text == nullptr) {
        return Fail(ERROR_MR_MID_NOT_FOUND);
    }
    const std::size_t length = std::strlen(text);
    if (length + sizeof "\r\n" > room) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    for (std::size_t i = 0; i < length; ++i) {
        buffer[i] = static_cast<Char>(text[i]);
    }
    buffer[length] = '\r';
    buffer[length + 1] = '\n';
    buffer[length + 2] = 0;
    return static_cast<DWORD>(length + 2);
}

}  // namespace

DWORD FormatMessageA(DWORD flags, const void* /*source*/, DWORD code, DWORD /*language*/,
                     LPSTR buffer, DWORD room, std::va_list* /*arguments*/) noexcept {
    return FormatSystemText(flags, code, buffer, room);
}

DWORD FormatMessageW(DWORD flags, const void* /*source*/, DWORD code, DWORD /*language*/,
                     LPWSTR buffer, DWORD room, std::va_list* /*arguments*/) noexcept {
    return FormatSystemText(flags, code, buffer, room);
}

}  // namespace ZTKPosix
