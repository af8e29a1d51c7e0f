// The seam of kernel/shared/step.h in the library's variant for tests.
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "platform/posix/kernel/shared/step.h"
#include "support/faults.h"

namespace {

std::atomic<long long> passed{0};
std::atomic<long long> deadly{0};

}  // namespace

long long ztk_test::DieAtStep(long long n) noexcept {
    deadly = n;
    return passed.exchange(0);
}

void ZTKPosix::shared::Step() noexcept {
    if (++passed == deadly) {
        kill(getpid(), SIGKILL);
    }
}
