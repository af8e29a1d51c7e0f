// Loading and unloading of the library.
#include <dlfcn.h>
#include <unwind.h>

#include <cstdint>
#include <cstring>

#include "frame/entry/lifecycle.h"
#include "platform/posix/com/oleauto_error_info.h"
#include "platform/posix/dom/kept_parser.h"
#include "platform/posix/entry/fork.h"
#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/shared_objects.h"
#include "platform/posix/kernel/thread_end.h"
#include "platform/posix/net/socket_table.h"
#include "platform/posix/process/string_tables.h"
#include "platform/posix/text/text_stream.h"
#include "platform/posix/text/watched_reads.h"

namespace ZTKPosix {

namespace {

bool unloading;           // by dlclose
bool ended_with_process;  // the end work has run and left all memory in place

// The library goes while the process goes on: everything is given back. Threads come first, because
// they use all the rest, and handles last, because all the rest uses them.
void Unload() noexcept {
    ReapThreads();
    ZTK::frame::OnProcessDetach();
    ZTK::frame::DestroyStaticObjects();
    TearDownTextStreams();
    TearDownStringTables();
    TearDownSockets();
    dom::TearDownKeptParser();
    TearDownCom();
    TearDownSharedObjects();
    TearDownThreads();
    TearDownHandles();
}

// When a process ends on the platform, all other threads are gone before the detach work runs. Here
// they still run, and may be anywhere in the library, until the process has ended. The nearest safe
// equivalent: the trace log is closed, so that nothing written to it is lost; what these threads
// still write to it is dropped. All memory, locks and handles stay where they are; the system takes
// them back.
void EndWithProcess() noexcept {
    CollectEndedThreads();
    ZTK::frame::OnProcessExit();
    ended_with_process = true;
}

// What the frames of the stack tell, from the innermost out.
_Unwind_Reason_Code LookForDlclose(_Unwind_Context* frame, void* found) noexcept {
    // A call that never returns, as those of exit, may be its function's last instruction: the
    // address it would return to then belongs to the next function.
    const auto caller = static_cast<std::uintptr_t>(_Unwind_GetIP(frame)) - 1;
    Dl_info place{};
    if (dladdr(reinterpret_cast<void*>(caller), &place) == 0 || place.dli_sname == nullptr) {
        return _URC_NO_REASON;
    }
    if (std::strcmp(place.dli_sname, "dlclose") == 0) {
        *static_cast<bool*>(found) = true;
        return _URC_NORMAL_STOP;
    }
    return std::strcmp(place.dli_sname, "exit") == 0 ? _URC_NORMAL_STOP : _URC_NO_REASON;
}

// dlclose and exit both run the library's destructor functions and destroy its static objects.
// Their order does not tell which of the two it is: exit takes the static objects first if the
// library was opened while the program ran, and last if it was loaded before the program began, be
// it needed by the program, preloaded, or opened by a constructor of a library that was. Nor can
// the loader be asked. The stack shows it: the destructor functions are called by the system's
// loader, on the thread that called dlclose or exit. Whichever of these is nearer is the one,
// because either may be called in the course of the other. A stack that cannot be followed is taken
// for the end of the process: then memory is left behind, and not taken from under a running
// thread.
bool IsCalledByDlclose() noexcept {
    bool found = false;
    // Its result tells only whether the search ended before the stack did.
    (void)_Unwind_Backtrace(LookForDlclose, &found);
    return found;
}

// Runs before the static object below is destroyed at a dlclose, and if the library was loaded
// before the program began; after it otherwise.
[[gnu::destructor]] void NoteUnload() {
    unloading = IsCalledByDlclose();
    if (unloading && ended_with_process) {
        Unload();  // exit destroys an object of the host's that owns the library or a plugin
    }
}

struct EndWork {
    ~EndWork() { unloading ? Unload() : EndWithProcess(); }
};

// The end work is the destructor of a static object rather than a destructor function of its own,
// so that exit runs it in its turn: what the host registers later with atexit runs earlier and
// finds the library in working order. It is not left to atexit, because sanitizers replace that
// function by one that forgets which library a handler belongs to.
[[gnu::constructor]] void Load() {
    LookForTools();
    ZTK::frame::BuildStaticObjects();
    ZTK::frame::OnProcessAttach();
    RegisterForkHandlers();
    static const EndWork end_work;
}

}  // namespace

}  // namespace ZTKPosix
