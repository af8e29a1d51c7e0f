// A program to try a debugger with: some threads, a function and a global that everybody knows by
// name, a fault when it is asked for.
//
//     agent --launch debuggee --rounds 100
//
// In the debugger: break debuggee_work, read and write debuggee_counter, write 1 to
// debuggee_fault.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

// What the debugger finds by name. Volatile: it changes them behind the compiler's back.
extern "C" {

volatile std::int64_t debuggee_counter = 0;  // rounds of debuggee_work; another value is told
volatile std::int64_t debuggee_fault = 0;    // not 0: fault in the next round
volatile std::int64_t debuggee_end = 0;      // not 0: end after this round

std::int64_t debuggee_work(std::int64_t round);
std::uint64_t debuggee_spin(std::uint64_t value);
void debuggee_crash();

}  // extern "C"

namespace {

constexpr const char* kUsage =
    "usage: debuggee [--rounds N] [--pause MS] [--threads N] [--busy] [--fault N] [--exit-code N]\n"
    "                [--seconds N] [--pid-file F] [--text T]\n"
    "\n"
    "Works in rounds until it has done enough of them. To be looked at by a debugger.\n"
    "\n"
    "  --rounds N      end after N rounds (else: when the time is up)\n"
    "  --pause MS      pause between two rounds, in milliseconds (20)\n"
    "  --threads N     threads beside the first one (3)\n"
    "  --busy          never pause; the other threads compute all the time\n"
    "  --fault N       touch memory that is not there in round N\n"
    "  --exit-code N   what to end with (0)\n"
    "  --seconds N     end after so much time, so that none is left behind (120)\n"
    "  --pid-file F    write the process's number to file F, once all threads run\n"
    "  --text T        print T in each round\n";

struct Settings {
    long rounds = 0;
    long pause = 20;
    long threads = 3;
    bool busy = false;
    long fault = 0;
    long exit_code = 0;
    long seconds = 120;
    std::string pid_file;
    std::string text;
};

bool ParseNumber(const char* text, long* number) {
    char* end = nullptr;
    *number = std::strtol(text, &end, 10);
    return end != text && *end == '\0' && *number >= 0;
}

bool Parse(int argc, char** argv, Settings* settings) {
    const struct {
        const char* name;
        long* number;
    } numbers[] = {{"--rounds", &settings->rounds},   {"--pause", &settings->pause},
                   {"--threads", &settings->threads}, {"--fault", &settings->fault},
                   {"--seconds", &settings->seconds}, {"--exit-code", &settings->exit_code}};
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (name == "--busy") {
            settings->busy = true;
            continue;
        }
        const auto* known = std::find_if(std::begin(numbers), std::end(numbers),
                                         [&name](const auto& n) { return name == n.name; });
        if (value == nullptr) {
            return false;
        }
        if (known != std::end(numbers)) {
            if (!ParseNumber(value, known->number)) {
                return false;
            }
        } else if (name == "--pid-file") {
            settings->pid_file = value;
        } else if (name == "--text") {
            settings->text = value;
        } else {
            return false;
        }
        ++i;
    }
    settings->threads = std::min(settings->threads, 100L);
    return true;
}

// A line at once, also into a pipe.
//
// It takes no std::string: one that debuggee_crash had to destroy would cost it the frame pointer
// that debuggers follow, with compilers for Windows (see agent/backtrace.cpp).
void Say(const char* line) {
    std::puts(line);
    std::fflush(stdout);
}

// Time as the program itself sees it: while a debugger holds it still, it is not used up.
class AwakeTime {
  public:
    // Called at least every tenth of a second when awake.
    bool IsUp(long seconds) {
        const auto now = std::chrono::steady_clock::now();
        awake_ += std::min<std::chrono::steady_clock::duration>(now - last_, kMostAtOnce);
        last_ = now;
        return awake_ >= std::chrono::seconds(seconds);
    }

  private:
    static constexpr auto kMostAtOnce = std::chrono::milliseconds(200);

    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration awake_{};
};

std::atomic<bool> ending{false};
std::atomic<int> started{0};

void Worker(bool busy) {
    ++started;
    for (std::uint64_t value = 0; !ending; value = debuggee_spin(value)) {
        if (!busy) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
}

bool WritePidFile(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fprintf(file, "%ld\n", static_cast<long>(getpid())) > 0;
    return std::fclose(file) == 0 && written;
}

// Returns when the program is to end.
void WorkInRounds(const Settings& settings) {
    AwakeTime time;
    for (std::int64_t rounds = 0; debuggee_end == 0; ++rounds) {
        if (time.IsUp(settings.seconds) || (settings.rounds > 0 && rounds >= settings.rounds)) {
            return;
        }
        if (!settings.text.empty()) {
            Say(settings.text.c_str());
        }
        debuggee_work(rounds);
        if (debuggee_fault != 0 || (settings.fault > 0 && rounds + 1 >= settings.fault)) {
            debuggee_crash();
        }
        if (!settings.busy) {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::min(settings.pause, 100L)));
        }
    }
}

}  // namespace

// One round: counts it. Called by the first thread only.
std::int64_t debuggee_work(std::int64_t round) {
    static std::int64_t left_at = 0;
    const std::int64_t found = debuggee_counter;
    if (found != left_at) {
        Say(("debuggee: the counter was set to " + std::to_string(found)).c_str());
    }
    left_at = found + 1;
    debuggee_counter = left_at;
    if (round == 0) {
        Say("debuggee: the first round");
    }
    return left_at;
}

// What the other threads compute.
std::uint64_t debuggee_spin(std::uint64_t value) {
    for (int i = 0; i < 1000; ++i) {
        value = value * 6364136223846793005U + 1442695040888963407U;
    }
    return value;
}

// The deliberate fault: writes where no memory is.
void debuggee_crash() {
    volatile std::int64_t* volatile nowhere = nullptr;
    Say("debuggee: about to fault");
    *nowhere = 1;
}

int main(int argc, char** argv) {
    Settings settings;
    if (!Parse(argc, argv, &settings)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    std::vector<std::thread> threads;
    for (long i = 0; i < settings.threads; ++i) {
        threads.emplace_back(Worker, settings.busy);
    }
    while (started < settings.threads) {
        std::this_thread::yield();
    }
    if (!settings.pid_file.empty() && !WritePidFile(settings.pid_file)) {
        std::fprintf(stderr, "debuggee: cannot write %s\n", settings.pid_file.c_str());
    }
    Say(("debuggee: process " + std::to_string(getpid()) + " with " +
         std::to_string(settings.threads + 1) + " threads")
            .c_str());
    WorkInRounds(settings);
    ending = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    Say(("debuggee: ends with " + std::to_string(settings.exit_code)).c_str());
    return static_cast<int>(settings.exit_code);
}
