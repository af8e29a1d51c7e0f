// Environment variables.
#include "frame/host/scratch_text.h"
#include "ztk/host.h"

namespace ZTK {

namespace {

// Leaves text empty where the platform writes nothing.
DWORD Lookup(const wchar_t* name, frame::ScratchText& text, DWORD room) noexcept {
    *text.get() = 0;
    return GetEnvironmentVariableW(name, text.get(), room);
}

}  // namespace

bool GetEnvironmentVar(const wchar_t* name, String& value) noexcept {
    frame::ScratchText text;
    if (const DWORD needed = Lookup(name, text, frame::ScratchText::kShort);
        needed > frame::ScratchText::kShort) {
        // More than needed if another thread has changed the variable meanwhile.
        if (!text.Reserve(std::size_t{needed}) || Lookup(name, text, needed) > needed) {
            return false;
        }
    }
    // A length of 0 is also that of an empty value, so the last error decides, even one that an
    // earlier call left. Callers know that a lookup that failed makes the next one fail, too, if
    // they do not clear it.
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
        return false;
    }
    value = text.get();
    return true;
}

}  // namespace ZTK
