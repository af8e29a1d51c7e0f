// The standard input and its terminal on Linux.
#include <cerrno>

#include <termios.h>
#include <unistd.h>

#include "peer/standard_input.h"

namespace example {

namespace {

termios g_mode_before = {};  // written by the constructor of Terminal

}  // namespace

long ReadStandardInput(char* bytes, std::size_t count) {
    ssize_t result = 0;
    do {
        result = read(STDIN_FILENO, bytes, count);
    } while (result < 0 && errno == EINTR);
    return static_cast<long>(result);
}

bool Terminal::IsThere() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

// Ctrl-C still is a signal. Ctrl-Z is none: a stopped peer would leave the terminal as it is now.
Terminal::Terminal() {
    tcgetattr(STDIN_FILENO, &g_mode_before);
    termios mode = g_mode_before;
    mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    mode.c_cc[VSUSP] = _POSIX_VDISABLE;
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &mode);
}

Terminal::~Terminal() {
    tcsetattr(STDIN_FILENO, TCSADRAIN, &g_mode_before);
}

std::string Terminal::Read() {
    char bytes[256];
    const long count = ReadStandardInput(bytes, sizeof bytes);
    return std::string(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
}

}  // namespace example
