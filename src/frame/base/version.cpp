#include "ztk/version.h"

namespace ZTK {

unsigned int GetLibraryVersion() noexcept {
    return ZTK_VERSION;
}

const char* GetLibraryVersionText() noexcept {
    return ZTK_VERSION_TEXT;
}

}  // namespace ZTK
