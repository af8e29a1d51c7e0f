#include "platform/posix/net/socket_mode.h"

#include <fcntl.h>

#include "platform/posix/net/socket_error_map.h"

namespace ZTKPosix {

int SetSocketMode(SocketUse& use, bool non_blocking) noexcept {
    // The mark comes first: RestoreDescriptorMode looks at it after it has switched the descriptor.
    if (non_blocking) {
        use.Set(kSocketNonBlocking);
    } else {
        use.Clear(kSocketNonBlocking);
    }
    return SetDescriptorMode(use, non_blocking) ? 0 : FailSocketWithErrno();
}

bool SetDescriptorMode(const SocketUse& use, bool non_blocking) noexcept {
    const int flags = ::fcntl(use.descriptor(), F_GETFL);
    return flags >= 0 && ::fcntl(use.descriptor(), F_SETFL,
                                 non_blocking ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) == 0;
}

void RestoreDescriptorMode(const SocketUse& use) noexcept {
    bool mode = false;
    do {
        mode = use.Has(kSocketNonBlocking);
        (void)SetDescriptorMode(use, mode);  // not refused: it was switched the other way before
    } while (mode != use.Has(kSocketNonBlocking));
}

}  // namespace ZTKPosix
