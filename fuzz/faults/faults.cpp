// Plays each scenario again and again, each time with another call of it failing, until none is
// left. A failure must be reported, must leave nothing behind, and the next play must succeed.
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "injector.h"
#include "support/scenarios.h"
#include "ztk/ztk.h"

namespace {

using namespace ztk_faults;
using namespace ztk_test;

struct Fault {
    const Scenario& scenario;
    const Call& call;
    int error;
    long nth = 0;
};

char site[160];  // what fails just now
int problems = 0;

void Expect(bool good, const char* otherwise) {
    if (!good) {
        ++problems;
        std::printf("FAILED: %s%s\n", site, otherwise);
    }
}

// A crash or a hang: names the place, as there is no going on.
void GiveUp(int) {
    _exit(write(STDOUT_FILENO, site, std::strlen(site)) < 0 ? 2 : 1);
}

// Plays with one call failing, then without. Whether the call was reached.
bool Play(const Fault& fault) {
    std::snprintf(site, sizeof(site), "%s, call %ld of %s, error %d: crashed or hung, or else\n",
                  fault.scenario.name, fault.nth, fault.call.name, fault.error);
    alarm(30);
    FailNth(fault.call, fault.nth, fault.error);
    const Outcome outcome = Play(fault.scenario);
    const bool reached = StopFailing();
    Expect(outcome != Outcome::kWrong, "success was reported, and a result is wrong");
    Expect((reached ? Play(fault.scenario) : outcome) == Outcome::kDone,
           "nothing fails any more, and it does not succeed");
    return reached;
}

int Entries(const char* directory) {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(directory), {}));
}

struct Holdings {
    int descriptors, threads;
    long blocks;
};

// An ended thread stays in the system's list for a moment.
Holdings Settled(int threads) {
    for (int tries = 0; tries < 5000 && Entries("/proc/self/task") > threads; ++tries) {
        usleep(1000);
    }
    return {Entries("/proc/self/fd"), Entries("/proc/self/task"), LiveBlocks()};
}

// What is left behind grows with every repetition; what the C library keeps for later does not.
void ExpectNothingLeft(const Fault& fault, Holdings& before) {
    Holdings now = Settled(before.threads);
    for (int i = 0; i < 3 && now.blocks > before.blocks; ++i) {
        before.blocks = now.blocks;
        Play(fault);
        now = Settled(before.threads);
    }
    Expect(now.blocks <= before.blocks, "memory stays behind");
    Expect(now.descriptors <= before.descriptors && now.threads <= before.threads,
           "a descriptor or a thread stays behind");
    before = now;
}

// Fails the first, the second and so on of one call. How many there were.
long FailEach(Fault fault, Holdings& held) {
    for (; Play(fault); ++fault.nth) {
        ExpectNothingLeft(fault, held);
    }
    return fault.nth;
}

void FailAll(const Scenario& scenario) {
    Play(scenario);
    Holdings held = Settled(Entries("/proc/self/task"));
    long sites = 0, runs = 0;
    for (const Call* call : kCalls) {
        const long before = runs;
        for (const int* error = call->errors; *error != 0; ++error) {
            const long count = FailEach({scenario, *call, *error}, held);
            sites += runs == before ? count : 0;
            runs += count;
        }
    }
    const long requests = FailEach({scenario, kRequest, ENOMEM}, held);
    std::printf("%-8s %4ld sites of system calls, %5ld runs; %4ld requests for memory\n",
                scenario.name, sites, runs, requests);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    for (const int signal : {SIGALRM, SIGSEGV, SIGBUS, SIGABRT, SIGPIPE}) {
        std::signal(signal, GiveUp);
    }
    ZTK::InitWSA();
    // A ring string that gets no memory ends the process, as documented: the rings have all of
    // theirs before anything is refused.
    for (int i = 0; i < 600; ++i) {
        (void)ZTK::StrFormat("%4000d", i);
        (void)ZTK::StrFormat(L"%4000d", i);
    }
    for (const Scenario& scenario : kScenarios) {
        if (argc < 2 || std::strcmp(argv[1], scenario.name) == 0) {
            FailAll(scenario);
        }
    }
    return problems == 0 ? 0 : 1;
}
