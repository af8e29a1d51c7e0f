// A child of fork has one thread, the one that forked. What other threads of the parent held at
// that moment would stay held for ever, and what they had half done would stay half done. So all
// locks of the process-wide state are taken before a fork, but those that may be held for as long
// as somebody else lets a write take: the locks of text streams and of the log. None of the others
// is ever held while host code runs or during input or output that a peer can hold up.
#include "platform/posix/entry/fork.h"

#include <pthread.h>

#include "frame/entry/lifecycle.h"
#include "platform/posix/com/oleauto_error_info.h"
#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/thread_end.h"
#include "platform/posix/net/name_lookup.h"
#include "platform/posix/net/socket_table.h"
#include "platform/posix/process/string_tables.h"
#include "platform/posix/text/code_page_iconv.h"
#include "platform/posix/text/text_stream.h"

namespace ZTKPosix {

namespace {

// Taken after the lock of the lookups and those of the shared objects. Everybody else takes them
// one at a time, the last one also inside the registry lock.
constexpr Lock* kLocks[] = {&iconv_lock,        &stream_pool_lock, &string_tables_lock,
                            &socket_table_lock, &error_key_lock,   &shared::attach_lock,
                            &dispatcher_lock};

// Not analysed, as the two below: these take in one call what they release in another.
extern "C" void ZtkPosixBeforeFork() ZTK_NO_THREAD_SAFETY_ANALYSIS {
    // Gives the thread its id, and its storage in the library: a dlopened library's is made at the
    // first touch, under a lock of the loader's that the child may find taken.
    (void)CurrentThreadId();
    lookup_lock.Acquire();
    WaitForLookupsBeforeFork();
    ZTK::frame::OnForkBegin();
    for (Lock* lock : kLocks) {
        lock->Acquire();
    }
}

extern "C" void ZtkPosixAfterFork() ZTK_NO_THREAD_SAFETY_ANALYSIS {
    for (Lock* lock : kLocks) {
        lock->Release();
    }
    ZTK::frame::OnForkEnd();
    lookup_lock.Release();
}

extern "C" void ZtkPosixAfterForkInChild() ZTK_NO_THREAD_SAFETY_ANALYSIS {
    RenewThreadIdInChild();
    ForgetLookupsInChild();
    DropTextStreamBuffersInChild();
    LeaveForOtherThreadsInChild();
    ZtkPosixAfterFork();
    EndOtherThreadsInChild();
    ZTK::frame::OnForkChild();
}

}  // namespace

// An unload takes the handlers back: the C library drops those that were registered from a library
// that goes.
void RegisterForkHandlers() noexcept {
    // Without memory for it a child may hang, as it may in every library without handlers.
    (void)pthread_atfork(ZtkPosixBeforeFork, ZtkPosixAfterFork, ZtkPosixAfterForkInChild);
}

}  // namespace ZTKPosix
