// The threads of a debuggee.
#pragma once

#include <string>
#include <vector>

#include <ztk/ztk.h>

#include "target/target.h"
#include "target/windows_registers.h"

namespace example {

// An event of the debuggee stops all of its threads until it is continued. Between events, single
// threads are held: suspended, which the system counts, once by us.
struct DebuggeeThread {
    DWORD id = 0;
    HANDLE handle = nullptr;
    std::string told_name;  // that the debuggee itself has told us
    bool held = false;
    Address told_at = 0;      // where it was when its last stop was told
    bool stray_step = false;  // a single step of it was called off, but may have been made already

    [[nodiscard]] std::string Name() const;

    // False when the thread is about to end, or the system refuses.
    bool GetContext(CONTEXT* context) const;
    bool SetContext(const CONTEXT& context) const;
    [[nodiscard]] Address Position() const;  // of the next instruction; 0 when it is unknown
    bool SetPosition(Address address) const;
    bool SetTrapFlag(bool on) const;
};

// In the order of their beginning. Thread-safety: none of its own.
class ThreadList {
  public:
    // The handle came with an event of the thread's beginning.
    DebuggeeThread& Add(DWORD id, HANDLE handle);

    // The thread has ended, and its last event was continued.
    void Remove(DWORD id);
    void Clear();

    [[nodiscard]] DebuggeeThread* Find(DWORD id);  // null when there is none
    [[nodiscard]] std::vector<DebuggeeThread>& All() { return threads_; }

    // The one that lives the longest; null when there is none.
    [[nodiscard]] DebuggeeThread* Main() { return threads_.empty() ? nullptr : &threads_.front(); }

    // Holds all threads but one (0: all). Returns once they stand still.
    void HoldAllBut(DWORD id);
    void ReleaseAll();

    // Takes back a suspension that somebody else made, if that keeps all threads but one from
    // running (0: all). REQUIRES: these are held.
    void WakeIfAllSleep(DWORD id);

    static void Hold(DebuggeeThread* thread);
    static void Release(DebuggeeThread* thread);

  private:
    std::vector<DebuggeeThread> threads_;
};

}  // namespace example
