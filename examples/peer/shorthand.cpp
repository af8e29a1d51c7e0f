// What a user at the console may type.
#include "peer/shorthand.h"

#include <algorithm>
#include <string_view>

namespace example {

namespace {

struct Command {
    std::string_view name;
    std::string_view shorthand;
    std::string_view arguments;
    std::string_view help;
};

constexpr Command kCommands[] = {
    {"launch", "", "PROGRAM [ARGUMENT...]", "start a program, stopped at its first instruction"},
    {"attach", "", "PROCESS", "take control of a process that runs already"},
    {"detach", "", "[stopped]", "let the debuggee run on, or leave it stopped"},
    {"kill", "", "", "end the debuggee"},
    {"status", "", "", "what the debuggee does"},
    {"break", "b", "[PLACE]", "stop there, or list the breakpoints"},
    {"delete", "d", "NUMBER", "take a breakpoint away"},
    {"continue", "c", "", "let the debuggee run"},
    {"step", "s", "[THREAD]", "one instruction"},
    {"interrupt", "Ctrl-C", "", "stop the debuggee where it is"},
    {"backtrace", "bt", "[THREAD]", "who called whom"},
    {"threads", "", "", "the threads, and where they are"},
    {"registers", "regs", "[THREAD]", "the registers"},
    {"write-register", "", "NAME VALUE [THREAD]", "change a register"},
    {"read-memory", "x", "PLACE [COUNT]", "bytes of memory; 64 without a count"},
    {"write-memory", "", "PLACE BYTE...", "change memory"},
    {"modules", "", "", "the program and its libraries"},
    {"evaluate", "p", "EXPRESSION", "calculate"},
    {"wait", "", "EVENT", "until it happens, as in \"wait stopped\""},
    {"echo", "", "TEXT", "the agent says it back"},
    {"shutdown", "", "", "end the agent, and a debuggee that it launched"},
    {"quit", "q, Ctrl-D", "", "end this program"},
    {"help", "h", "", "this list"},
};

// What the columns of the help are wide.
constexpr std::size_t kNameColumn = 16;
constexpr std::size_t kShorthandColumn = 11;
constexpr std::size_t kArgumentsColumn = 23;

void AppendColumn(std::string* line, std::string_view text, std::size_t width) {
    line->append(text);
    line->append(width - std::min(width, text.size()), ' ');
}

std::string_view Trim(std::string_view text) {
    const std::size_t first = std::min(text.find_first_not_of(' '), text.size());
    const std::size_t last = text.find_last_not_of(' ');
    return text.substr(first, last == text.npos ? 0 : last + 1 - first);
}

}  // namespace

std::string Expand(const std::string& typed) {
    const std::string_view line = Trim(typed);
    const std::string_view word = line.substr(0, std::min(line.find(' '), line.size()));
    const std::string_view rest = Trim(line.substr(word.size()));
    std::string expanded(word);
    for (const Command& command : kCommands) {
        // A shorthand with a blank is a list for the help; its first name counts.
        if (!word.empty() && word == command.shorthand.substr(0, command.shorthand.find(','))) {
            expanded = command.name;
        }
    }
    if (!rest.empty()) {
        expanded.append(" ").append(rest);
    }
    if (expanded.rfind("read-memory ", 0) == 0 && rest.find(' ') == rest.npos) {
        expanded += " 64";
    }
    return expanded;
}

std::string InteractiveHelp() {
    std::string help;
    for (const Command& command : kCommands) {
        AppendColumn(&help, command.name, kNameColumn);
        AppendColumn(&help, command.shorthand, kShorthandColumn);
        AppendColumn(&help, command.arguments, kArgumentsColumn);
        help.append(command.help).append("\n");
    }
    return help +
           "A PLACE is a function, a global, a number, or a sum of such with registers.\n"
           "An EVENT is stopped, exited, detached, output, module-loaded, thread-started or\n"
           "thread-ended.\n";
}

}  // namespace example
