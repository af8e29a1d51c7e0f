// Work that threads hand over to the one thread that may do it, and wait for.
//
// The systems tie a debuggee to one thread: only that one may wait for its events and have it go
// on. It waits for Arrived(), next to what else it waits for, and calls Serve.
#pragma once

#include <exception>
#include <functional>

#include <ztk/ztk.h>

namespace example {

// Thread-safety: Run is for any thread, all others are for the thread that does the work.
class Handover {
  public:
    Handover();
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;
    ~Handover();  // REQUIRES: nobody is in Run

    // Whether the system had the events for it.
    [[nodiscard]] bool IsUsable() const {
        return events_.GetHandle(kArrived) != nullptr && events_.GetHandle(kDone) != nullptr;
    }

    // Returns when the other thread has done the work; throws what the work has thrown. One after
    // the other: a second caller waits for its turn.
    // REQUIRES: IsUsable, a thread serves, and it is not the calling one.
    void Run(const std::function<void()>& work);

    // Auto-reset event: signalled when there is work. Owned by this object.
    [[nodiscard]] HANDLE Arrived() const { return events_.GetHandle(kArrived); }

    // Does the work. REQUIRES: a wait for Arrived has ended since the last call.
    void Serve();

  private:
    static constexpr unsigned kArrived = 0;
    static constexpr unsigned kDone = 1;

    ZTK::CSASync events_;
    ZTK::CLock turn_;  // held by the thread that is in Run
    const std::function<void()>* work_ = nullptr;
    std::exception_ptr thrown_;
};

}  // namespace example
