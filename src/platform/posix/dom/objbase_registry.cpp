// The classes of this layer, how they are found and made, and how many of their objects are alive.
// They are the DOM's documents, which is why this stands here and not beside the rest of COM.
#include <atomic>

#include "platform/posix/com/com_object.h"
#include "platform/posix/com/objbase_apartment.h"
#include "platform/posix/dom/document.h"
#include "platform/posix/text/runtime_text.h"
#include "text/ascii.h"

namespace ZTKPosix {

namespace {

struct Class {
    const wchar_t* prog_id;
    CLSID id;
    dom::DocumentVersion version;
    std::atomic<bool> available;
};

constinit Class classes[] = {
    {L"Msxml2.DOMDocument.6.0",
     {0x88D96A05, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
     dom::DocumentVersion::k6,
     true},
    {L"Msxml2.DOMDocument.4.0",
     {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}},
     dom::DocumentVersion::k4,
     true},
};

Class* FindByProgId(const wchar_t* prog_id) noexcept {
    for (Class& candidate : classes) {
        if (_wcsicmp(candidate.prog_id, prog_id) == 0) {
            return &candidate;
        }
    }
    return nullptr;
}

const Class* FindAvailable(REFCLSID id) noexcept {
    for (const Class& candidate : classes) {
        if (candidate.id == id) {
            return candidate.available.load(std::memory_order_relaxed) ? &candidate : nullptr;
        }
    }
    return nullptr;
}

// Reads a number of exactly that many hexadecimal digits; false when text has fewer.
template <class Number>
bool TakeHex(const wchar_t*& text, int digits, Number& number) noexcept {
    DWORD value = 0;
    for (; digits > 0; --digits, ++text) {
        const int digit = ZTK::ascii::HexDigitValue(*text);
        if (digit < 0) {
            return false;
        }
        value = value << 4 | static_cast<DWORD>(digit);
    }
    number = static_cast<Number>(value);
    return true;
}

bool TakeMark(const wchar_t*& text, wchar_t mark) noexcept {
    return *text++ == mark;
}

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}". Stops at the first character that is wrong, so that it
// never reads behind a terminator.
bool ParseGuid(const wchar_t* text, GUID& id) noexcept {
    bool good = TakeMark(text, L'{') && TakeHex(text, 8, id.Data1) && TakeMark(text, L'-') &&
                TakeHex(text, 4, id.Data2) && TakeMark(text, L'-') && TakeHex(text, 4, id.Data3) &&
                TakeMark(text, L'-');
    for (int i = 0; good && i < 8; ++i) {
        good = (i != 2 || TakeMark(text, L'-')) && TakeHex(text, 2, id.Data4[i]);
    }
    return good && TakeMark(text, L'}') && *text == L'\0';
}

}  // namespace

bool SetClassAvailable(LPCWSTR prog_id, bool available) noexcept {
    Class* const found = prog_id != nullptr ? FindByProgId(prog_id) : nullptr;
    if (found != nullptr) {
        found->available.store(available, std::memory_order_relaxed);
    }
    return found != nullptr;
}

HRESULT CLSIDFromProgID(LPCOLESTR prog_id, CLSID* id) noexcept {
    if (prog_id == nullptr || id == nullptr) {
        return E_INVALIDARG;
    }
    *id = {};
    const Class* const found = FindByProgId(prog_id);
    if (found == nullptr || !found->available.load(std::memory_order_relaxed)) {
        return CO_E_CLASSSTRING;
    }
    *id = found->id;
    return S_OK;
}

HRESULT CLSIDFromString(LPCOLESTR text, CLSID* id) noexcept {
    if (text == nullptr || id == nullptr) {
        return E_INVALIDARG;
    }
    if (text[0] != L'{') {
        return CLSIDFromProgID(text, id);
    }
    if (!ParseGuid(text, *id)) {
        *id = {};
        return CO_E_CLASSSTRING;
    }
    return S_OK;
}

HRESULT CoCreateInstance(REFCLSID id, LPUNKNOWN outer, DWORD context, REFIID iid,
                         LPVOID* object) noexcept {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (!IsComInitialized()) {
        return CO_E_NOTINITIALIZED;
    }
    const Class* const found = FindAvailable(id);
    if (found == nullptr || (context & CLSCTX_INPROC_SERVER) == 0) {
        return REGDB_E_CLASSNOTREG;
    }
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    IUnknown* const made = dom::MakeDocument(found->version);
    if (made == nullptr) {
        return E_OUTOFMEMORY;
    }
    const HRESULT result = made->QueryInterface(iid, object);
    made->Release();
    return result;
}

HRESULT OleRun(LPUNKNOWN object) noexcept {
    return object != nullptr ? S_OK : E_INVALIDARG;
}

SIZE_T LiveComObjects() noexcept {
    return LiveObject::Count();
}

}  // namespace ZTKPosix
