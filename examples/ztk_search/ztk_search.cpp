// Searches files for a term and prints the lines that have it, with their numbers.
//
//     ztk_search --ignore-case breakpoint agent.log trace.log
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ztk_search/input_file.h"

namespace {

constexpr const char* kUsage =
    "usage: ztk_search [OPTION]... TERM FILE...\n"
    "\n"
    "Prints each line of the files that has TERM as file:line:text, like grep -n -F -H.\n"
    "\n"
    "  -i, --ignore-case  ASCII letters that differ in case only are equal\n"
    "  -w, --whole-word   only matches between characters other than letters and digits\n"
    "      --utf16        the files are UTF-16; without it, only those with its byte-order mark\n"
    "      --progress     report progress on large files also when standard error is no terminal\n"
    "      --             what follows are no options\n"
    "\n"
    "The term of a file that is not UTF-16 is searched byte by byte. Two rules of the library's\n"
    "search differ from grep's: matches do not overlap, and after a partial match the search may\n"
    "go on behind a match that starts within it (aabb is not found in aaabbx). A line is printed\n"
    "up to its first carriage return or NUL. An underscore is no part of a word.\n"
    "\n"
    "Files that cannot be searched are reported, and the next ones are searched all the same.\n"
    "Ctrl-C ends the search.\n"
    "Exit code: 0 if a line was found, 1 if none was, 2 if there was trouble.\n";

constexpr DWORD kLargeFile = 16 << 20;  // bytes from which on progress is worth a report

struct Settings {
    DWORD flags = 0;
    bool utf16 = false;
    bool progress = false;
    std::string term;
    std::vector<std::string> files;
};

std::atomic<bool> interrupted{false};

void Interrupt(int) {
    interrupted = true;
}

void Complain(const std::string& path, const std::string& what) {
    std::fprintf(stderr, "ztk_search: %s: %s\n", path.c_str(), what.c_str());
}

// Watches one search through its cancel callback: ends it after Ctrl-C, and reports now and then.
class Watch {
  public:
    Watch(std::string path, bool report) : path_(std::move(path)), report_(report) {
        Report("reading");
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        if (report_) {
            std::fprintf(stderr, "\r%*s\r", width_, "");
        }
    }

    // The callback. It is called for every place that the term is compared with, so it does as
    // little as possible.
    static bool ShouldStop(void* watch) {
        auto* const self = static_cast<Watch*>(watch);
        constexpr long long kCallsPerLook = 1 << 20;
        if (++self->calls_ % kCallsPerLook == 0) {
            self->Report(std::to_string(self->calls_ >> 20) + " million places compared");
        }
        return interrupted.load(std::memory_order_relaxed);
    }

  private:
    using Clock = std::chrono::steady_clock;

    void Report(const std::string& what) {
        const auto now = Clock::now();
        if (!report_ || now < next_report_) {
            return;
        }
        next_report_ = now + std::chrono::milliseconds(200);
        width_ = std::fprintf(stderr, "\rztk_search: %s: %s", path_.c_str(), what.c_str());
        std::fflush(stderr);
    }

    const std::string path_;
    const bool report_;
    long long calls_ = 0;
    int width_ = 0;
    Clock::time_point next_report_{};
};

std::string Utf8(const char* line, int length) {
    return {line, static_cast<std::size_t>(length)};
}
std::string Utf8(const wchar_t* line, int length) {
    return ZTK::ToUtf8(ZTK::WideView(line, static_cast<std::size_t>(length)));
}

// The search in files of one width.
template <class T>
class Finder {
  public:
    Finder(const T* term, DWORD flags) : flags_(flags) {
        query_.SetTerm(term, 0, (flags & ZTK::SEARCH_IGNORE_CASE) != 0);
    }

    // Searches the file from the handle's position on. Returns what went wrong, or an empty text.
    std::string Search(HANDLE file, const std::string& path, bool report) {
        {
            Watch watch(path, report);
            // Print shows the hits; what went wrong shows below.
            (void)buffer_.Search(file, flags_, query_, Watch::ShouldStop, &watch);
        }
        if (buffer_.GetBuffer() == nullptr) {
            return "not enough memory";
        }
        char byte = 0;
        DWORD read = 0;
        return ReadFile(file, &byte, 1, &read, nullptr) == 0 ? "cannot be read" : "";
    }

    // Prints the lines that the last search found, each once. Returns how many.
    int Print(const std::string& path) {
        int lines = 0;
        int last = 0;
        for (int i = 0; i < buffer_.GetResultCount(); ++i) {
            int number = 0;
            const T* const line = buffer_.GetResult(i, number);
            if (line != nullptr && number > last) {
                const std::string text = Utf8(line, buffer_.GetResultLength(i));
                std::printf("%s:%d:", path.c_str(), number);
                // Like printf's, its failures are not looked at: the output may be closed.
                (void)std::fwrite(text.data(), 1, text.size(), stdout);
                std::putchar('\n');
                last = number;
                ++lines;
            }
        }
        buffer_.Reset();
        return lines;
    }

  private:
    const DWORD flags_;
    ZTK::CSearchQuery<T> query_;
    ZTK::CBuffer<T> buffer_;
};

class Program {
  public:
    explicit Program(const Settings& settings)
        : settings_(settings),
          narrow_(settings.term.c_str(), settings.flags),
          wide_(ZTK::StrConvert(settings.term.c_str(), 0), settings.flags) {}

    int Run() {
        for (const std::string& path : settings_.files) {
            const std::string problem = SearchFile(path);
            if (!problem.empty()) {
                Complain(path, problem);
                trouble_ = true;
            }
            if (interrupted) {
                std::fputs("ztk_search: interrupted\n", stderr);
                return 2;
            }
        }
        return trouble_ ? 2 : lines_ > 0 ? 0 : 1;
    }

  private:
    std::string SearchFile(const std::string& path) {
        const example::InputFile file(path);
        DWORD size = 0;
        std::string problem = file.Problem(&size);
        if (!problem.empty()) {
            return problem;
        }
        if (size == 0) {
            Complain(path, "is empty");  // worth a line, but no failure
            return "";
        }
        const bool report = size >= kLargeFile && settings_.progress;
        if (file.TakeMark()) {
            return SearchWith(&wide_, file, path, report);
        }
        const example::InputFile anew(path);  // the two bytes were no mark but text: from the start
        if (settings_.utf16) {
            return SearchWith(&wide_, anew, path, report);
        }
        return SearchWith(&narrow_, anew, path, report);
    }

    template <class T>
    std::string SearchWith(Finder<T>* finder, const example::InputFile& file,
                           const std::string& path, bool report) {
        std::string problem = finder->Search(file.Handle(), path, report);
        lines_ += finder->Print(path);
        return problem;
    }

    const Settings settings_;
    Finder<char> narrow_;
    Finder<wchar_t> wide_;
    long long lines_ = 0;
    bool trouble_ = false;
};

// False if the command line cannot be understood; *problem says why.
bool Parse(int argc, char** argv, Settings* settings, std::string* problem) {
    bool options = true;
    bool has_term = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (!options || argument.size() < 2 || argument[0] != '-') {
            (has_term ? settings->files.emplace_back() : settings->term) = argument;
            has_term = true;
        } else if (argument == "--") {
            options = false;
        } else if (argument == "-i" || argument == "--ignore-case") {
            settings->flags |= ZTK::SEARCH_IGNORE_CASE;
        } else if (argument == "-w" || argument == "--whole-word") {
            settings->flags |= ZTK::SEARCH_WHOLE_WORD;
        } else if (argument == "--utf16") {
            settings->utf16 = true;
        } else if (argument == "--progress") {
            settings->progress = true;
        } else {
            *problem = "unknown option '" + argument + "'";
            return false;
        }
    }
    if (settings->term.empty()) {
        *problem = "there is no term to search for";
    } else if (settings->files.empty()) {
        *problem = "there is no file to search";
    }
    return problem->empty();
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        if (std::strcmp(argv[i], "--help") == 0) {
            std::fputs(kUsage, stdout);
            return 0;
        }
    }
    Settings settings;
    settings.progress = isatty(fileno(stderr)) != 0;
    std::string problem;
    if (!Parse(argc, argv, &settings, &problem)) {
        std::fprintf(stderr, "ztk_search: %s\n%s", problem.c_str(), kUsage);
        return 2;
    }
    (void)std::signal(SIGINT, Interrupt);  // if refused, Ctrl-C ends the program at once
    return Program(settings).Run();
}
