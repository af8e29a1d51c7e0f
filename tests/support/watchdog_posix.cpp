// Ends a program in which a test takes far too long, and names the test: it waits for a wake-up
// that was lost, or loops without end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned kSeconds = 100;
#else
constexpr unsigned kSeconds = 20;
#endif

std::string message;

void Bark(int) {
    (void)!write(STDERR_FILENO, message.data(), message.size());
    std::abort();
}

struct Watchdog : testing::EmptyTestEventListener {
    Watchdog() { testing::UnitTest::GetInstance()->listeners().Append(this); }
    void OnTestStart(const testing::TestInfo& test) override {
        message = std::string(test.test_suite_name()) + "." + test.name() + " has taken " +
                  std::to_string(kSeconds) + " seconds: it hangs\n";
        (void)std::signal(SIGALRM, Bark);
        alarm(kSeconds);
    }
    void OnTestEnd(const testing::TestInfo&) override { alarm(0); }
};

[[maybe_unused]] const auto* const watchdog = new Watchdog;

}  // namespace
