// Short uses of the library, one for each family of calls: what the fault injector breaks, the load
// of the soak runs, and what a forked child does.
#pragma once

namespace ztk_test {

enum class Outcome {
    kDone,      // all calls succeeded, and their results were right
    kReported,  // a call reported that it failed
    kWrong,     // every call reported success, and a result is wrong
};

struct Scenario {
    const char* name;
    Outcome (*play)();
};

inline constexpr int kScenarioCount = 7;
extern const Scenario kScenarios[kScenarioCount];

// Plays one, after InitWSA. All that it made is gone when it returns, whatever failed. May be
// played on several threads at once.
Outcome Play(const Scenario& scenario);

}  // namespace ztk_test
