// Strings from the string tables of modules.
#include "frame/base/tmp_ring.h"
#include "ztk/host.h"

namespace ZTK {

const wchar_t* ZTKLoadResourceStringW(HINSTANCE module, unsigned int id) noexcept {
    constexpr UINT kStringTable = 6;
    // The block numbered as the string itself, though the string lies in block id / 16 + 1. Callers
    // rely on what follows from it: their modules carry a block of the identifier's own number, and
    // its size, which is in bytes, bounds the string.
    HRSRC const block = FindResourceW(module, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(kStringTable));
    if (block == nullptr) {
        return nullptr;
    }
    const DWORD size = SizeofResource(module, block);
    wchar_t* const text = frame::RequestTmpString<wchar_t>(size + 2);
    if (text == nullptr) {
        return nullptr;
    }
    const int room = static_cast<int>((size + 2) / 2);
    return LoadStringW(module, id, text, room) > 0 ? text : nullptr;
}

}  // namespace ZTK
