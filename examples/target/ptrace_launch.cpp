// Starts a program that waits, before it is the program, until it is traced.
#include "target/ptrace_launch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "target/ptrace_text.h"

namespace example {

namespace {

bool IsFile(const std::string& path) {
    struct stat about {};
    return stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode);
}

// The new program is to begin as if a shell had started it, not with what this process ignores or
// has blocked.
void ResetSignals() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        (void)sigaction(number, &action, nullptr);  // fails for those that nobody may change
    }
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);  // cannot fail: the arguments are valid
}

}  // namespace

bool FindProgram(const std::string& name, std::string* path, std::string* problem) {
    std::vector<std::string> candidates;
    if (name.find('/') != std::string::npos) {
        candidates.push_back(name);
    } else {
        // No thread of this program changes the environment.
        const char* folders = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe)
        std::string_view rest = folders != nullptr ? folders : "/usr/bin:/bin";
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find(':'), rest.size());
            const std::string folder(rest.substr(0, end));
            candidates.push_back((folder.empty() ? "." : folder) + "/" + name);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }
    bool found = false;
    for (const std::string& candidate : candidates) {
        if (!IsFile(candidate)) {
            continue;
        }
        found = true;
        if (access(candidate.c_str(), X_OK) == 0) {
            *path = candidate;
            return true;
        }
    }
    return Fail(problem, found ? name + " is not executable" : "program not found: " + name);
}

bool LaunchedProcess::Start(const std::string& path, const std::vector<std::string>& command_line,
                            int output) {
    if (!MakePipe(&go_) || !MakePipe(&failure_)) {
        return false;
    }
    std::vector<char*> arguments;
    arguments.reserve(command_line.size() + 1);
    for (const std::string& argument : command_line) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // exec leaves them as they are
    }
    arguments.push_back(nullptr);
    // _Fork, not fork: the child does nothing but system calls until the exec, so it needs none of
    // what the libraries of a program with threads would do there to become usable.
    const pid_t child = _Fork();
    if (child < 0) {
        return false;
    }
    if (child == 0) {
        BecomeProgram(path.c_str(), arguments.data(), output);
    }
    id_ = child;
    go_.reading.Close();
    failure_.writing.Close();
    return true;
}

// In the child: only what is allowed between fork and exec of a program with threads.
void LaunchedProcess::BecomeProgram(const char* path, char* const* arguments, int output) {
    close(go_.writing.Get());  // or we would wait for ourselves
    char byte = 0;
    while (read(go_.reading.Get(), &byte, 1) < 0 && errno == EINTR) {
    }
    // A group of its own: what a user types to interrupt the agent is not for the debuggee.
    (void)setpgid(0, 0);  // cannot fail for a new process
    ResetSignals();
    const int nothing = open("/dev/null", O_RDWR);
    if (nothing >= 0 && dup2(nothing, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
        dup2(output, STDERR_FILENO) >= 0) {
        // What this process has open, marked or not, is none of the program's business.
        (void)close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);  // older systems have no such call
        execv(path, arguments);
    }
    const int error = errno;
    (void)!write(failure_.writing.Get(), &error, sizeof error);  // nobody else could be told
    _exit(127);
}

int LaunchedProcess::Failure() const {
    int error = 0;
    const ssize_t count = read(failure_.reading.Get(), &error, sizeof error);
    return count == sizeof error ? error : 0;
}

}  // namespace example
