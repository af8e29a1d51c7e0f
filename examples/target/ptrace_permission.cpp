// Whether processes may be controlled, and what would allow it.
#include "target/ptrace_permission.h"

#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>

#include "target/proc_files.h"
#include "target/ptrace_registers.h"
#include "target/ptrace_text.h"
#include "target/target.h"

namespace example {

namespace {

std::string Named(pid_t process) {
    return "process " + std::to_string(process);
}

// Of the security module that restricts ptrace on many systems; 0 where there is none.
int RestrictionLevel() {
    std::ifstream file("/proc/sys/kernel/yama/ptrace_scope");
    int level = 0;
    file >> level;
    return level;
}

std::string WhatWouldAllowIt() {
    if (RestrictionLevel() >= 3) {
        return "kernel.yama.ptrace_scope is 3: the system has to be started with less";
    }
    if (RestrictionLevel() > 0) {
        return "run it as root, or set kernel.yama.ptrace_scope to 0";
    }
    return "in a container, give it the capability SYS_PTRACE and a seccomp profile with ptrace";
}

bool IsOfAnotherUser(pid_t process) {
    struct stat about {};
    return geteuid() != 0 && stat(("/proc/" + std::to_string(process)).c_str(), &about) == 0 &&
           about.st_uid != geteuid();
}

}  // namespace

bool MayBeAttached(pid_t process, std::string* problem) {
    const pid_t owner = process > 0 ? ProcessOf(process) : 0;
    if (owner == 0) {
        return Fail(problem, "there is no " + Named(process));
    }
    if (owner != process) {
        return Fail(problem,
                    std::to_string(process) + " is a thread of process " + std::to_string(owner));
    }
    if (process == getpid()) {
        return Fail(problem, Named(process) + " is this agent");
    }
    // A first thread that has ended stays with its tracer until the others have ended, too.
    const bool is_left_over = TracerOf(process) == gettid() && HasEnded(process);
    if (const pid_t tracer = TracerOf(process); tracer != 0 && !is_left_over) {
        const pid_t other = ProcessOf(tracer);
        return Fail(problem, Named(process) + " is controlled by process " +
                                 std::to_string(other != 0 ? other : tracer) + " already");
    }
    if (HasEnded(process) && ThreadsOf(process).size() <= 1) {
        return Fail(problem, Named(process) + " has ended");
    }
    return true;
}

std::string WhyNotControlled(pid_t process, int error) {
    if (error == ESRCH) {
        return Named(process) + " has ended";
    }
    if (error != EPERM && error != EACCES) {
        return Named(process) + " cannot be controlled: " + SystemText(error);
    }
    if (IsOfAnotherUser(process)) {
        return Named(process) + " belongs to another user: run the agent as that user or as root";
    }
    return "the system does not let the agent control " + Named(process) + ": " +
           WhatWouldAllowIt();
}

// Tries it: what forbids it has too many forms to ask for each.
bool CanControlProcesses(std::string* problem) {
    if (!RegistersAreKnown(problem)) {
        return false;
    }
    const pid_t child = _Fork();
    if (child == 0) {
        for (;;) {
            pause();
        }
    }
    if (child < 0) {
        return Fail(problem, "there is no process to try it with: " + SystemText(errno));
    }
    const bool can = ptrace(PTRACE_SEIZE, child, nullptr, nullptr) == 0;
    const int error = errno;
    kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, __WALL) < 0 && errno == EINTR) {
    }
    return can || Fail(problem, error == EPERM || error == EACCES
                                    ? "the system does not let the agent control processes: " +
                                          WhatWouldAllowIt()
                                    : "processes cannot be controlled: " + SystemText(error));
}

}  // namespace example
