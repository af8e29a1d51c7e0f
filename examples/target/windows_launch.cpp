// Starting a program as a debuggee of the calling thread.
#include "target/windows_launch.h"

#include <algorithm>
#include <utility>

#include "common/utf.h"
#include "target/windows_text.h"

namespace example {

namespace {

using WideText = std::vector<wchar_t>;  // with its terminator

// The only handles that a program is to inherit. Without such a list it would get all that can be
// inherited, the sockets of our peers among them, and keep connections open that we have closed.
class InheritedHandles {
  public:
    explicit InheritedHandles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
        SIZE_T bytes = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);  // fails, and tells the size
        memory_.resize(bytes);
        initialized_ = InitializeProcThreadAttributeList(List(), 1, 0, &bytes) != FALSE;
        usable_ = initialized_ && UpdateProcThreadAttribute(
                                      List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                      handles_.size() * sizeof(HANDLE), nullptr, nullptr) != FALSE;
    }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    ~InheritedHandles() {
        if (initialized_) {
            DeleteProcThreadAttributeList(List());
        }
    }

    [[nodiscard]] bool IsUsable() const { return usable_; }
    LPPROC_THREAD_ATTRIBUTE_LIST List() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
    }

  private:
    std::vector<HANDLE> handles_;
    std::vector<char> memory_;
    bool initialized_ = false;
    bool usable_ = false;
};

bool Fail(std::string* problem, std::string sentence) {
    *problem = std::move(sentence);
    return false;
}

// The program's file, searched as the system's own shell does; empty when there is none.
WideText FindProgram(const WideText& program) {
    constexpr DWORD kMostCharacters = 0x8000;
    WideText path(kMostCharacters);
    const DWORD length =
        SearchPathW(nullptr, program.data(), L".exe", kMostCharacters, path.data(), nullptr);
    path.resize(length < kMostCharacters ? length : 0);
    if (!path.empty()) {
        path.push_back(L'\0');
    }
    return path;
}

// An agent controls programs of its own width: registers and addresses differ.
bool HasOurWidth(const WideText& path) {
    constexpr DWORD kOther = sizeof(void*) == 8 ? SCS_32BIT_BINARY : SCS_64BIT_BINARY;
    DWORD type = 0;
    return !GetBinaryTypeW(path.data(), &type) || type != kOther;
}

// A program takes its command line apart by itself. Nearly all do so by one rule, the reverse of
// this: a quote within quotes has a backslash in front, and so has each backslash in front of a
// quote.
void AppendQuoted(std::string_view argument, std::string* line) {
    if (!line->empty()) {
        *line += ' ';
    }
    *line += '"';
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') {
            line->append(backslashes + 1, '\\');
        }
        backslashes = c == '\\' ? backslashes + 1 : 0;
        *line += c;
    }
    line->append(backslashes, '\\');  // the closing quote follows
    *line += '"';
}

bool MakeCommandLine(const std::vector<std::string>& arguments, WideText* wide) {
    std::string line;
    for (const std::string& argument : arguments) {
        AppendQuoted(argument, &line);
    }
    return Widen(line, wide);
}

std::string WhyNotStarted(const std::string& program, DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return "program not found: " + program;
        case ERROR_ACCESS_DENIED:
        case ERROR_BAD_EXE_FORMAT:
        case ERROR_EXE_MACHINE_TYPE_MISMATCH:
            return program + " is not executable";
        default:
            return "cannot launch " + program + ": " + SystemText(error);
    }
}

// The debuggee has a process group of its own, so that Ctrl-C at our terminal is for us only.
// Returns the system's error, or 0.
DWORD CreateDebuggee(const WideText& path, WideText command_line, HANDLE input, HANDLE output,
                     DWORD* process) {
    InheritedHandles inherited({input, output});
    if (!inherited.IsUsable()) {
        return ::GetLastError();
    }
    STARTUPINFOEXW start = {};
    start.StartupInfo.cb = sizeof start;
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdInput = input;
    start.StartupInfo.hStdOutput = output;
    start.StartupInfo.hStdError = output;
    start.lpAttributeList = inherited.List();
    PROCESS_INFORMATION made = {};
    if (!CreateProcessW(
            path.data(), command_line.data(), nullptr, nullptr, TRUE,
            DEBUG_ONLY_THIS_PROCESS | CREATE_NEW_PROCESS_GROUP | EXTENDED_STARTUPINFO_PRESENT,
            nullptr, nullptr, &start.StartupInfo, &made)) {
        return ::GetLastError();
    }
    CloseHandle(made.hThread);  // the events bring handles of their own
    CloseHandle(made.hProcess);
    *process = made.dwProcessId;
    return 0;
}

}  // namespace

bool StartProgram(const std::vector<std::string>& command_line, EventSink* sink,
                  std::unique_ptr<OutputReader>* output, DWORD* process, std::string* problem) {
    WideText program;
    WideText wide_line;
    if (!Widen(command_line[0], &program) || !MakeCommandLine(command_line, &wide_line)) {
        return Fail(problem, "the command line is no text");
    }
    const WideText path = FindProgram(program);
    if (path.empty()) {
        return Fail(problem, WhyNotStarted(command_line[0], ERROR_FILE_NOT_FOUND));
    }
    if ((GetFileAttributesW(path.data()) & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return Fail(problem, WhyNotStarted(command_line[0], ERROR_ACCESS_DENIED));
    }
    if (!HasOurWidth(path)) {
        return Fail(problem, "cannot launch " + command_line[0] + ": it is a program of " +
                                 (sizeof(void*) == 8 ? "32 bits, the agent one of 64"
                                                     : "64 bits, the agent one of 32"));
    }
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const ZTK::COwnedHandle input(CreateFileW(L"NUL", GENERIC_READ,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                              OPEN_EXISTING, 0, nullptr));
    *output = input ? OutputReader::Make(sink) : nullptr;
    if (*output == nullptr) {
        return Fail(problem, WhyNotStarted(command_line[0], ::GetLastError()));
    }
    const DWORD error =
        CreateDebuggee(path, std::move(wide_line), input.get(), (*output)->WriteEnd(), process);
    if (error != 0) {
        output->reset();
        return Fail(problem, WhyNotStarted(command_line[0], error));
    }
    (*output)->CloseWriteEnd(*process);
    return true;
}

}  // namespace example
