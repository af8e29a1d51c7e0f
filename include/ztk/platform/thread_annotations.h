// Words for clang's thread-safety analysis (-Wthread-safety): which lock guards what, and which
// functions take, need or release one. They make no code, and other compilers do not see them.
//
// The analysis takes every lock for one that its holder must not take again. A program that relies
// on CLock's being recursive, and switches the warnings on, marks the function that does so with
// ZTK_NO_THREAD_SAFETY_ANALYSIS.
#pragma once

#if defined(__clang__)
#define ZTK_THREAD_ANNOTATION(words) __attribute__((words))
#else
#define ZTK_THREAD_ANNOTATION(words)
#endif

// A class whose objects are locks, and one whose objects hold a lock for a scope.
#define ZTK_CAPABILITY(kind) ZTK_THREAD_ANNOTATION(capability(kind))
#define ZTK_SCOPED_CAPABILITY ZTK_THREAD_ANNOTATION(scoped_lockable)

// A variable that is touched with that lock held only.
#define ZTK_GUARDED_BY(lock) ZTK_THREAD_ANNOTATION(guarded_by(lock))

// A function that is called with the locks held, or not held; that takes or releases them. Without
// a list the lock is the object itself.
#define ZTK_REQUIRES(...) ZTK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ZTK_EXCLUDES(...) ZTK_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ZTK_ACQUIRE(...) ZTK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ZTK_TRY_ACQUIRE(...) ZTK_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ZTK_RELEASE(...) ZTK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

// A function whose body the analysis cannot follow. The line above says why.
#define ZTK_NO_THREAD_SAFETY_ANALYSIS ZTK_THREAD_ANNOTATION(no_thread_safety_analysis)
