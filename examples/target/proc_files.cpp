// What /proc tells of a process.
#include "target/proc_files.h"

#include <dirent.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <map>
#include <string_view>

#include "target/descriptor.h"

namespace example {

namespace {

constexpr std::size_t kMostBytes = 64 * 1024 * 1024;

std::string Folder(pid_t id) {
    return "/proc/" + std::to_string(id);
}

// The whole file, whose size nobody knows beforehand; empty when it cannot be read.
std::string ReadWhole(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    char piece[16 * 1024];
    while (text.size() < kMostBytes) {
        const ssize_t count = read(file.Get(), piece, sizeof piece);
        if (count <= 0) {
            break;
        }
        text.append(piece, static_cast<std::size_t>(count));
    }
    return text;
}

// Takes text up to the first separator, and the separator, off the front.
std::string_view Take(std::string_view* text, char separator) {
    const std::size_t end = std::min(text->find(separator), text->size());
    const std::string_view front = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return front;
}

std::uint64_t Number(std::string_view text, int base) {
    std::uint64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, base);
    return number;
}

// The number behind "Name:" in /proc/ID/status.
pid_t StatusNumber(pid_t id, std::string_view name) {
    const std::string status = ReadWhole(Folder(id) + "/status");
    std::string_view rest = status;
    while (!rest.empty()) {
        std::string_view line = Take(&rest, '\n');
        if (Take(&line, ':') == name) {
            line.remove_prefix(std::min(line.find_first_not_of("\t "), line.size()));
            return static_cast<pid_t>(Number(line, 10));
        }
    }
    return 0;
}

// "start-end permissions offset device inode path"
struct Mapping {
    Address start;
    Address end;
    bool is_code;
    std::uint64_t offset;
    std::string_view path;
};

Mapping ParseMapping(std::string_view line) {
    Mapping mapping;
    mapping.start = Number(Take(&line, '-'), 16);
    mapping.end = Number(Take(&line, ' '), 16);
    mapping.is_code = Take(&line, ' ').find('x') != std::string_view::npos;
    mapping.offset = Number(Take(&line, ' '), 16);
    (void)Take(&line, ' ');  // device
    (void)Take(&line, ' ');  // inode
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    mapping.path = line;
    return mapping;
}

bool HasWordsOf32Bits(pid_t process) {
    const Descriptor program(open((Folder(process) + "/exe").c_str(), O_RDONLY | O_CLOEXEC));
    unsigned char start[EI_NIDENT] = {};
    return read(program.Get(), start, sizeof start) == sizeof start &&
           start[EI_CLASS] == ELFCLASS32;
}

// Entry is the type of what the vector is made of.
template <class Entry>
Address EntryIn(std::string_view vector) {
    Entry entry;
    for (std::size_t at = 0; at + sizeof entry <= vector.size(); at += sizeof entry) {
        std::memcpy(&entry, vector.data() + at, sizeof entry);
        if (entry.a_type == AT_ENTRY) {
            return entry.a_un.a_val;
        }
    }
    return 0;
}

std::string LinkTarget(const std::string& path) {
    char target[4096];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

}  // namespace

std::vector<MappedFile> MappedFiles(pid_t process) {
    const std::string maps = ReadWhole(Folder(process) + "/maps");
    std::string_view rest = maps;
    struct Found {
        MappedFile file;
        bool has_code = false;
    };
    std::map<std::string_view, Found> by_path;
    while (!rest.empty()) {
        const Mapping mapping = ParseMapping(Take(&rest, '\n'));
        if (mapping.path.empty() || mapping.path[0] != '/') {
            continue;
        }
        Found& found = by_path[mapping.path];
        if (found.file.module.path.empty()) {  // the first is the lowest
            found.file = {{mapping.start, mapping.end, std::string(mapping.path)}, mapping.offset};
        }
        found.file.module.end = mapping.end;
        found.has_code |= mapping.is_code;
    }
    std::vector<MappedFile> files;
    for (auto& [path, found] : by_path) {
        if (found.has_code) {
            files.push_back(std::move(found.file));
        }
    }
    std::sort(files.begin(), files.end(), [](const MappedFile& a, const MappedFile& b) {
        return a.module.start < b.module.start;
    });
    return files;
}

std::vector<pid_t> ThreadsOf(pid_t process) {
    std::vector<pid_t> threads;
    DIR* folder = opendir((Folder(process) + "/task").c_str());
    if (folder == nullptr) {
        return threads;
    }
    // One thread at a time reads this stream, which is all that readdir asks for.
    while (const dirent* entry = readdir(folder)) {  // NOLINT(concurrency-mt-unsafe)
        if (const auto thread = static_cast<pid_t>(Number(entry->d_name, 10)); thread > 0) {
            threads.push_back(thread);
        }
    }
    closedir(folder);
    return threads;
}

bool HasThread(pid_t process, pid_t thread) {
    const std::string path = Folder(process) + "/task/" + std::to_string(thread);
    return access(path.c_str(), F_OK) == 0;
}

std::string ThreadName(pid_t process, pid_t thread) {
    std::string name = ReadWhole(Folder(process) + "/task/" + std::to_string(thread) + "/comm");
    if (!name.empty() && name.back() == '\n') {
        name.pop_back();
    }
    return name;
}

// "71 (name, which may hold anything) S ..."
bool HasEnded(pid_t thread) {
    const std::string stat = ReadWhole(Folder(thread) + "/stat");
    const std::size_t name_end = stat.rfind(')');
    if (name_end == std::string::npos || name_end + 2 >= stat.size()) {
        return true;
    }
    const char state = stat[name_end + 2];
    return state == 'Z' || state == 'X';
}

pid_t ProcessOf(pid_t thread) {
    return StatusNumber(thread, "Tgid");
}

pid_t TracerOf(pid_t thread) {
    return StatusNumber(thread, "TracerPid");
}

Address EntryPoint(pid_t process) {
    const std::string vector = ReadWhole(Folder(process) + "/auxv");
    return HasWordsOf32Bits(process) ? EntryIn<Elf32_auxv_t>(vector)
                                     : EntryIn<Elf64_auxv_t>(vector);
}

std::string ProgramOf(pid_t process) {
    return LinkTarget(Folder(process) + "/exe");
}

}  // namespace example
