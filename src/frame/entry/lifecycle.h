// What happens when the library is loaded and unloaded, and when the process forks. The platform's
// entry point calls these, in this order: BuildStaticObjects, OnProcessAttach ... OnProcessDetach,
// DestroyStaticObjects.
#pragma once

namespace ZTK::frame {

// The process-wide objects: log lock, hex line buffer, thread registry. Built before the attach
// work and destroyed after the detach work, together with the long texts of XML values that are
// still kept.
void BuildStaticObjects() noexcept;
void DestroyStaticObjects() noexcept;

// Attach clears the two rings. Detach frees every ring slot and closes an open trace log.
void OnProcessAttach() noexcept;
void OnProcessDetach() noexcept;

// The part of the detach work that stays safe while other threads still run: closes the trace log
// and leaves all memory where it is.
void OnProcessExit() noexcept;

// A fork, on targets that have it. Before it the lock of the thread registry is taken, so that the
// child does not find it in the hands of a thread that did not come along; afterwards it is
// released in parent and child. The child then puts right what it left half done.
void OnForkBegin() noexcept;
void OnForkEnd() noexcept;
void OnForkChild() noexcept;

}  // namespace ZTK::frame
