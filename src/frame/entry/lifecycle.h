// What happens when the library is loaded and unloaded. The platform's entry point calls these, in
// this order: BuildStaticObjects, OnProcessAttach ... OnProcessDetach, DestroyStaticObjects.
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

}  // namespace ZTK::frame
