#include "platform/posix/kernel/thread_end.h"

#include <algorithm>
#include <atomic>
#include <ctime>

#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/shared_objects.h"
#include "platform/posix/kernel/sync_objects.h"
#include "platform/posix/kernel/waits.h"

namespace ZTKPosix {

namespace {

// A pthread_t has no value of its own for "none".
struct JoinableThread {
    bool present = false;
    pthread_t thread{};
};

// Threads that ended and are not joined yet, the oldest first.
class EndedThreads {
  public:
    [[nodiscard]] bool IsFull() const noexcept { return count_ == kMost; }

    // The oldest one.
    JoinableThread Take() noexcept {
        JoinableThread taken;
        if (count_ > 0) {
            taken = {true, threads_[0]};
            std::copy(threads_ + 1, threads_ + count_, threads_);
            --count_;
        }
        return taken;
    }

    // REQUIRES: not full.
    void Add(pthread_t thread) noexcept { threads_[count_++] = thread; }

    // As the oldest. REQUIRES: not full.
    void PutBack(pthread_t thread) noexcept {
        std::copy_backward(threads_, threads_ + count_, threads_ + count_ + 1);
        threads_[0] = thread;
        ++count_;
    }

    void Forget() noexcept { count_ = 0; }

  private:
    static constexpr int kMost = 16;

    int count_ = 0;
    pthread_t threads_[kMost] = {};
};

// The key whose destructor is ZtkPosixOnThreadEnd; made when the first thread announces its end.
constinit bool end_key_made ZTK_GUARDED_BY(dispatcher_lock) = false;
constinit pthread_key_t end_key ZTK_GUARDED_BY(dispatcher_lock){};

// Threads made by CreateThread: those that have not ended, and those that have.
constinit Thread* first_live ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
constinit EndedThreads ended ZTK_GUARDED_BY(dispatcher_lock);
// Threads that ended and are not joined yet, in `ended` or not.
constinit std::atomic<int> unjoined{0};

void Join(const JoinableThread& joinable) noexcept {
    if (joinable.present) {
        pthread_join(joinable.thread, nullptr);
        unjoined.fetch_sub(1, std::memory_order_relaxed);
    }
}

// Joins a thread that ended, now if it is gone, later if others have time for it then. Waits for it
// only where too many are waited for.
void JoinSoon(const JoinableThread& joinable) noexcept ZTK_EXCLUDES(dispatcher_lock) {
    if (!joinable.present) {
        return;
    }
    if (pthread_tryjoin_np(joinable.thread, nullptr) == 0) {
        unjoined.fetch_sub(1, std::memory_order_relaxed);
        return;
    }
    {
        const DispatcherSection section;
        if (!ended.IsFull()) {
            ended.PutBack(joinable.thread);
            return;
        }
    }
    Join(joinable);
}

void RemoveLiveThread(Thread& thread) noexcept ZTK_REQUIRES(dispatcher_lock) {
    (thread.previous_live != nullptr ? thread.previous_live->next_live : first_live) =
        thread.next_live;
    if (thread.next_live != nullptr) {
        thread.next_live->previous_live = thread.previous_live;
    }
}

// Threads that ended earlier, for one that ends to join: one more than it adds, so that they become
// fewer.
struct EarlierEnds {
    JoinableThread first, second;
};

// Signals the thread's object.
EarlierEnds EndThreadObject(Thread& thread, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    EarlierEnds earlier;
    if (!thread.joined_at_unload) {
        earlier = {ended.Take(), ended.Take()};
        ended.Add(thread.system_thread);
        unjoined.fetch_add(1, std::memory_order_relaxed);
    }
    RemoveLiveThread(thread);
    thread.signalled = true;
    SatisfyWaiters(thread, section);
    section.Release(thread);
    return earlier;
}

// Runs on every thread that has owned a mutex or that CreateThread made, after the destructors of
// the host's thread_local objects: whoever has waited for a thread may free what these used. If a
// still later destructor takes a mutex, the end is announced anew and this runs again.
//
// When others know that the thread has ended, and may unload the library, it still has to execute
// its last instructions, here and in the C library. So it is never detached: it leaves itself to be
// joined by one that ends later, the last ones by ReapThreads. Waiting for an earlier one takes no
// longer than those instructions. They would add up if each thread waited for the one before: on a
// busy machine every one of them has to be given a processor first. So a thread waits only where
// many are left over, and only for one that ended before it, which rules out waiting in a circle.
extern "C" void ZtkPosixOnThreadEnd(void* value) {
    auto& record = *static_cast<ThreadRecord*>(value);
    EarlierEnds earlier;
    EndThreadInTable();
    {
        DispatcherSection section;
        record.end_announced = false;
        AbandonMutexes(record, section);
        if (Thread* thread = record.thread; thread != nullptr) {
            record.thread = nullptr;
            earlier = EndThreadObject(*thread, section);
        }
    }
    JoinSoon(earlier.first);
    JoinSoon(earlier.second);
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
        unjoined.fetch_add(1, std::memory_order_relaxed);
        gate = &thread->gate;
        gate->store(kGateCancelled, std::memory_order_release);
    }
    FutexWakeOne(gate);
    return cancelled;
}

JoinableThread TakeEndedThread() noexcept ZTK_EXCLUDES(dispatcher_lock) {
    DispatcherSection section;
    return ended.Take();
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
    // One that ended may itself put back one that it was about to join.
    for (JoinableThread thread = TakeEndedThread(); thread.present; thread = TakeEndedThread()) {
        Join(thread);
    }
}

void CollectEndedThreads() noexcept {
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 1;
    for (JoinableThread thread = TakeEndedThread(); thread.present; thread = TakeEndedThread()) {
        pthread_timedjoin_np(thread.thread, nullptr, &deadline);
    }
}

void LetEndedThreadsLeave() noexcept {
    constexpr int kMany = 64;
    constexpr int kMostNaps = 100;
    constexpr timespec kNap{0, 1000000};
    for (int naps = 0; unjoined.load(std::memory_order_relaxed) > kMany && naps < kMostNaps;
         ++naps) {
        nanosleep(&kNap, nullptr);
    }
}

void EndOtherThreadsInChild() noexcept {
    DispatcherSection section;
    ended.Forget();  // there is nothing to join
    unjoined.store(0, std::memory_order_relaxed);
    DetachSharedObjectsInChild(section);
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
