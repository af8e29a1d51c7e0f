// process HOW: its threads use the whole library while it exits in main, on a thread or in a
// callback, or forks. Built as a program and as a plugin of one.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "support/loopback.h"
#include "support/scenarios.h"

struct Door final : ztk_test::Server {
    using Server::Server;
    void OnListen(const wchar_t*, const wchar_t*, unsigned short) override { std::exit(0); }
};

// The code of a child that plays all scenarios; 256 times as much in the system's terms.
static int Fork() {
    int status = -1;
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGALRM, [](int) { std::abort(); });  // a child that hangs leaves its stack
        alarm(20);
        bool right = true;
        for (const ztk_test::Scenario& scenario : ztk_test::kScenarios) {
            right &= ztk_test::Play(scenario) == ztk_test::Outcome::kDone;
        }
        std::rand() % 2 == 0 ? std::exit(right ? 7 : 1) : _exit(right ? 7 : 1);
    }
    return child > 0 && waitpid(child, &status, 0) == child ? status : -1;
}

int main(int, char** arguments) {
    ZTK::InitWSA();
    const char how = *arguments[1];
    // A child of fork would wait for ever for a static object that another thread was just making.
    for (const ztk_test::Scenario& scenario : ztk_test::kScenarios) {
        (void)ztk_test::Play(scenario);
    }
    for (const ztk_test::Scenario& scenario : ztk_test::kScenarios) {
        std::thread([=] {
            for (;;) {  // not judged: all threads share one ring of texts, and it comes round early
                (void)ztk_test::Play(scenario);
            }
        }).detach();
    }
    Sleep(GetCurrentThreadId() % 30);
    for (int i = 0; how == 'f' && i < 20; ++i) {
        if (const int status = Fork(); status != 7 << 8) {
            std::printf("child %d ended with status %d\n", i, status), std::exit(3);
        }
    }
    std::puts(how == 'f' ? "Forks 20" : "Exits 1");
    if (how == 't') {
        std::thread(std::exit, 0).join();
    }
    if (how == 'c') {
        (void)(new Door(ztk_test::Endpoint(ztk_test::kIPv4, 0)))->Start();
    }
    return how == 'c' ? 4 : 0;
}
