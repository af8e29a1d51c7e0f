// Loading and unloading of the library.
//
// There is no call for a host that forks and goes on in the child: the child has one thread, and
// the ids that the layer keeps are the parent's. fork followed by exec is fine.
#include "frame/entry/lifecycle.h"
#include "platform/posix/com/oleauto_error_info.h"
#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/thread_end.h"
#include "platform/posix/net/socket_table.h"
#include "platform/posix/process/string_tables.h"
#include "platform/posix/text/text_stream.h"

namespace ZTKPosix {

namespace {

bool unloading;

// The library goes while the process goes on: everything is given back. Threads come first, because
// they use all the rest, and handles last, because all the rest uses them.
void Unload() noexcept {
    ReapThreads();
    ZTK::frame::OnProcessDetach();
    ZTK::frame::DestroyStaticObjects();
    TearDownTextStreams();
    TearDownStringTables();
    TearDownSockets();
    TearDownCom();
    TearDownThreads();
    TearDownHandles();
}

// When a process ends on the platform, all other threads are gone before the detach work runs. Here
// they still run, and may be anywhere in the library, until the process has ended. The nearest safe
// equivalent: the trace log is closed, so that nothing written to it is lost; what these threads
// still write to it is dropped. All memory, locks and handles stay where they are; the system takes
// them back.
void EndWithProcess() noexcept {
    CollectEndedThread();
    ZTK::frame::OnProcessExit();
}

// dlclose and the end of the process both destroy the library's static objects. They differ in what
// comes first: dlclose runs the library's destructor functions, this one among them, and then
// destroys its static objects; exit destroys the static objects of all and runs destructor
// functions last.
[[gnu::destructor]] void NoteUnload() {
    unloading = true;
}

struct EndWork {
    ~EndWork() { unloading ? Unload() : EndWithProcess(); }
};

// The end work is the destructor of a static object rather than a destructor function of its own,
// so that exit runs it in its turn: what the host registers later with atexit runs earlier and
// finds the library in working order. It is not left to atexit, because sanitizers replace that
// function by one that forgets which library a handler belongs to.
[[gnu::constructor]] void Load() {
    ZTK::frame::BuildStaticObjects();
    ZTK::frame::OnProcessAttach();
    static const EndWork end_work;
}

}  // namespace

}  // namespace ZTKPosix
