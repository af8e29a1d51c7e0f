// Loading and unloading of the library.
#include "frame/entry/lifecycle.h"
#include "ztk/platform.h"

namespace {

// The C++ runtime builds this before it passes the attach notification on to DllMain, and destroys
// it after the detach notification: the order that the static objects need.
struct StaticObjects {
    StaticObjects() noexcept { ZTK::frame::BuildStaticObjects(); }
    ~StaticObjects() { ZTK::frame::DestroyStaticObjects(); }
    StaticObjects(const StaticObjects&) = delete;
    StaticObjects& operator=(const StaticObjects&) = delete;
} static_objects;

}  // namespace

// Never refuses the load. The end of the process and an unload are not told apart: all other
// threads are gone in the one case and must be in the other.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) {
        ZTK::frame::OnProcessAttach();
    } else if (reason == DLL_PROCESS_DETACH) {
        ZTK::frame::OnProcessDetach();
    }
    return TRUE;
}
