#include "platform/posix/kernel/thread_end.h"

#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/sync_objects.h"
#include "platform/posix/kernel/waits.h"

namespace ZTKPosix {

namespace {

// A pthread_t has no value of its own for "none".
struct JoinableThread {
    bool present = false;
    pthread_t thread{};
};

// The key whose destructor is ZtkPosixOnThreadEnd; made when the first thread announces its end.
constinit bool end_key_made ZTK_GUARDED_BY(dispatcher_lock) = false;
constinit pthread_key_t end_key ZTK_GUARDED_BY(dispatcher_lock){};

// Threads made by CreateThread that have not ended, and the last of them that ended and is not
// joined yet.
constinit Thread* first_live ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
constinit JoinableThread ended ZTK_GUARDED_BY(dispatcher_lock);

void Join(const JoinableThread& joinable) noexcept {
    if (joinable.present) {
        pthread_join(joinable.thread, nullptr);
    }
}

void RemoveLiveThread(Thread& thread) noexcept ZTK_REQUIRES(dispatcher_lock) {
    (thread.previous_live != nullptr ? thread.previous_live->next_live : first_live) =
        thread.next_live;
    if (thread.next_live != nullptr) {
        thread.next_live->previous_live = thread.previous_live;
    }
}

// Signals the thread's object. Returns the thread that ended before it, for the caller to join.
JoinableThread EndThreadObject(Thread& thread, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    JoinableThread previous;
    if (!thread.joined_at_unload) {
        previous = ended;
        ended = {true, thread.system_thread};
    }
    RemoveLiveThread(thread);
    thread.signalled = true;
    SatisfyWaiters(thread, section);
    section.Release(thread);
    return previous;
}

// Runs on every thread that has owned a mutex or that CreateThread made, after the destructors of
// the host's thread_local objects: whoever has waited for a thread may free what these used. If a
// still later destructor takes a mutex, the end is announced anew and this runs again.
//
// When others know that the thread has ended, and may unload the library, it still has to execute
// its last instructions, here and in the C library. So it is never detached: it leaves itself to be
// joined by the next one that ends, the last one by ReapThreads. Waiting for the predecessor takes
// no longer than those instructions, and nobody waits for this thread any more by then.
extern "C" void ZtkPosixOnThreadEnd(void* value) {
    auto& record = *static_cast<ThreadRecord*>(value);
    JoinableThread previous;
    {
        DispatcherSection section;
        record.end_announced = false;
        AbandonMutexes(record, section);
        if (Thread* thread = record.thread; thread != nullptr) {
            record.thread = nullptr;
            previous = EndThreadObject(*thread, section);
        }
    }
    Join(previous);
}

// A thread that was never resumed, told to end without running; not present if there is none.
JoinableThread CancelSuspendedThread() noexcept ZTK_EXCLUDES(dispatcher_lock) {
    JoinableThread cancelled;
    FutexWord* gate = nullptr;
    {
        DispatcherSection section;
        Thread* thread = first_live;
        while (thread != nullptr && !thread->suspended) {
            thread = thread->next_live;
        }
        if (thread == nullptr) {
            return cancelled;
        }
        thread->suspended = false;
        thread->joined_at_unload = true;
        cancelled = {true, thread->system_thread};
        gate = &thread->gate;
        gate->store(kGateCancelled, std::memory_order_release);
    }
    FutexWakeOne(gate);
    return cancelled;
}

JoinableThread TakeEndedThread() noexcept ZTK_EXCLUDES(dispatcher_lock) {
    DispatcherSection section;
    const JoinableThread taken = ended;
    ended.present = false;
    return taken;
}

}  // namespace

bool AnnounceThreadEnd() noexcept {
    if (current_record.end_announced) {
        return true;
    }
    if (!end_key_made && pthread_key_create(&end_key, ZtkPosixOnThreadEnd) != 0) {
        return false;
    }
    end_key_made = true;
    current_record.end_announced = pthread_setspecific(end_key, &current_record) == 0;
    return current_record.end_announced;
}

void AddLiveThread(Thread& thread) noexcept {
    thread.system_thread = pthread_self();
    ++thread.references;  // the running thread's own, until it ends
    current_record.thread = &thread;
    thread.next_live = first_live;
    if (first_live != nullptr) {
        first_live->previous_live = &thread;
    }
    first_live = &thread;
}

// A thread that really runs when the library is unloaded is the host's fault, here as on the
// platform: its code goes away under it.
void ReapThreads() noexcept {
    for (JoinableThread thread = CancelSuspendedThread(); thread.present;
         thread = CancelSuspendedThread()) {
        Join(thread);
    }
    Join(TakeEndedThread());
}

void CollectEndedThread() noexcept {
    const JoinableThread thread = TakeEndedThread();
    if (thread.present) {
        timespec deadline;
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += 1;
        pthread_timedjoin_np(thread.thread, nullptr, &deadline);
    }
}

void EndOtherThreadsInChild() noexcept {
    DispatcherSection section;
    ended.present = false;  // there is nothing to join
    ForEachOpenObject([&section](KernelObject& object) ZTK_REQUIRES(dispatcher_lock) {
        ForgetWaitsInChild(object, section);
        if (object.kind == &Mutex::kKind) {
            AbandonLostMutexInChild(static_cast<Mutex&>(object));
        }
    });
    // Objects without a handle that the calling thread will still touch.
    for (Mutex* mutex = current_record.first_owned; mutex != nullptr; mutex = mutex->next_owned) {
        ForgetWaitsInChild(*mutex, section);
    }
    for (Thread* thread = first_live; thread != nullptr; thread = thread->next_live) {
        ForgetWaitsInChild(*thread, section);
        if (thread != current_record.thread) {
            RemoveLiveThread(*thread);
            thread->suspended = false;
            thread->signalled = true;
            section.Release(*thread);
        }
    }
}

void TearDownThreads() noexcept {
    DispatcherSection section;
    if (end_key_made) {
        pthread_key_delete(end_key);
        end_key_made = false;
    }
}

}  // namespace ZTKPosix
