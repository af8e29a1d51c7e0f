// A meeting point for a fixed number of threads. std::barrier is not used in tests: the one of
// MinGW's C++ library loses wake-ups on Windows, and its threads then wait for ever.
#pragma once

#include <condition_variable>
#include <mutex>

namespace ztk_test {

class Barrier {
  public:
    explicit Barrier(int threads) : threads_(threads) {}

    // Returns when all threads have arrived; then the next meeting begins.
    void ArriveAndWait() {
        std::unique_lock lock(mutex_);
        const unsigned meeting = meeting_;
        if (++arrived_ == threads_) {
            arrived_ = 0;
            ++meeting_;
            all_here_.notify_all();
            return;
        }
        all_here_.wait(lock, [&] { return meeting_ != meeting; });
    }

  private:
    const int threads_;
    std::mutex mutex_;
    std::condition_variable all_here_;
    int arrived_ = 0;
    unsigned meeting_ = 0;
};

}  // namespace ztk_test
