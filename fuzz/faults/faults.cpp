// Plays each scenario again and again, each time with another call of it failing, until none is
// left. A failure must be reported, must leave nothing behind, and the next play must succeed.
#include <dirent.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>

#include "injector.h"
#include "support/scenarios.h"
#include "ztk/ztk.h"

namespace {

using namespace ztk_faults;
using namespace ztk_test;

char site[160];
int problems = 0;

void Complain(const char* what) {
    ++problems;
    std::printf("FAILED: %s: %s\n", site, what);
}

// A crash or a hang: names the place, as there is no going on.
void GiveUp(int) {
    const char end[] = ": the process crashed or hung\n";
    if (write(STDOUT_FILENO, site, std::strlen(site)) > 0 &&
        write(STDOUT_FILENO, end, sizeof(end) - 1) > 0) {
        _exit(1);
    }
    _exit(2);
}

int Entries(const char* directory) {
    int count = 0;
    DIR* const entries = opendir(directory);
    while (entries != nullptr && readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return count;
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

// Plays with one call failing, then without. Whether the call was reached.
bool PlayTwice(const Scenario& scenario, const Call* call, long nth, int error) {
    std::snprintf(site, sizeof(site), "%s, call %ld of %s, error %d", scenario.name, nth,
                  call == nullptr ? "malloc" : call->name, error);
    alarm(30);
    call == nullptr ? FailNthRequest(nth) : FailNth(*call, nth, error);
    Outcome outcome = Play(scenario);
    const bool reached = StopFailing();
    if (outcome == Outcome::kWrong) {
        Complain("success was reported, and a result is wrong");
    }
    outcome = reached ? Play(scenario) : outcome;
    if (outcome != Outcome::kDone) {
        Complain("nothing fails any more, and it does not succeed");
    }
    return reached;
}

// What is left behind grows with every repetition; what the C library keeps for later does not.
void ExpectNothingLeft(const Scenario& scenario, const Call* call, long nth, int error,
                       Holdings& before) {
    Holdings now = Settled(before.threads);
    for (int i = 0; i < 3 && now.blocks > before.blocks; ++i) {
        before.blocks = now.blocks;
        PlayTwice(scenario, call, nth, error);
        now = Settled(before.threads);
    }
    if (now.blocks > before.blocks) {
        Complain("memory stays behind");
    }
    if (now.descriptors > before.descriptors || now.threads > before.threads) {
        Complain("a descriptor or a thread stays behind");
    }
    before = now;
}

struct Count {
    long sites = 0, runs = 0;
};

// Fails the first, the second and so on of one call.
void FailEach(const Scenario& scenario, const Call* call, int error, bool first, Holdings& held,
              Count& count) {
    for (long nth = 0; PlayTwice(scenario, call, nth, error); ++nth) {
        ExpectNothingLeft(scenario, call, nth, error, held);
        count.sites += first ? 1 : 0;
        ++count.runs;
    }
}

void FailAll(const Scenario& scenario) {
    Count calls, requests;
    Play(scenario);
    Holdings held = Settled(Entries("/proc/self/task"));
    for (const Call* call : kCalls) {
        for (const int* error = call->errors; *error != 0; ++error) {
            FailEach(scenario, call, *error, error == call->errors, held, calls);
        }
    }
    FailEach(scenario, nullptr, 0, true, held, requests);
    std::printf("%-8s %4ld sites of system calls, %5ld runs; %4ld requests for memory\n",
                scenario.name, calls.sites, calls.runs, requests.runs);
    std::fflush(stdout);
}

// A ring string that gets no memory ends the process, as documented: the rings have all of theirs
// before anything is refused.
void FillRings() {
    for (int i = 0; i < 600; ++i) {
        (void)ZTK::StrFormat("%4000d", i);
        (void)ZTK::StrFormat(L"%4000d", i);
    }
}

}  // namespace

int main(int argc, char** argv) {
    for (const int signal : {SIGALRM, SIGSEGV, SIGBUS, SIGABRT, SIGPIPE}) {
        std::signal(signal, GiveUp);
    }
    ZTK::InitWSA();
    FillRings();
    for (const Scenario& scenario : kScenarios) {
        if (argc < 2 || std::strcmp(argv[1], scenario.name) == 0) {
            FailAll(scenario);
        }
    }
    return problems == 0 ? 0 : 1;
}
