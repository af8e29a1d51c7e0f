// The modules of a process, and the names in them.
#include "target/ptrace_modules.h"

#include <algorithm>

#include "target/elf_symbols.h"
#include "target/ptrace_text.h"

namespace example {

namespace {

// Where a process's file is to be read. The program by way of its process, where it is found even
// if its file was removed meanwhile; others below what is the root folder to the process.
std::string PathToRead(pid_t thread, const std::string& path, const std::string& program) {
    const std::string folder = "/proc/" + std::to_string(thread);
    return path == program ? folder + "/exe" : folder + "/root" + path;
}

bool IsSame(const Module& a, const Module& b) {
    return a.start == b.start && a.path == b.path;
}

}  // namespace

std::vector<Module> ProcessModules::Now(pid_t thread) {
    std::vector<Module> list;
    for (MappedFile& file : MappedFiles(thread)) {
        list.push_back(std::move(file.module));
    }
    return list;
}

std::vector<Module> ProcessModules::Refresh(pid_t thread) {
    const std::string program = ProgramOf(thread);
    std::vector<Loaded> before;
    before.swap(loaded_);
    std::vector<Module> fresh;
    for (MappedFile& file : MappedFiles(thread)) {
        const auto known = std::find_if(before.begin(), before.end(), [&file](const Loaded& one) {
            return IsSame(one.file.module, file.module);
        });
        std::string path = PathToRead(thread, file.module.path, program);
        if (known != before.end()) {
            known->file = std::move(file);          // it may have grown
            known->path_to_read = std::move(path);  // the thread of the last time may have ended
            loaded_.push_back(std::move(*known));
            before.erase(known);
            continue;
        }
        fresh.push_back(file.module);
        loaded_.push_back({std::move(file), std::move(path), nullptr});
    }
    std::stable_partition(loaded_.begin(), loaded_.end(), [&program](const Loaded& one) {
        return one.file.module.path == program;
    });
    return fresh;
}

const SymbolTable& ProcessModules::SymbolsOf(Loaded& loaded) {
    if (loaded.symbols == nullptr) {
        loaded.symbols = std::make_unique<SymbolTable>();
        LoadElfSymbols(loaded.path_to_read, loaded.file.module.start, loaded.file.file_offset,
                       loaded.symbols.get());
        loaded.symbols->Sort();
    }
    return *loaded.symbols;
}

bool ProcessModules::Find(const std::string& name, Address* address) {
    return std::any_of(loaded_.begin(), loaded_.end(),
                       [&](Loaded& one) { return SymbolsOf(one).Find(name, address); });
}

std::string ProcessModules::Describe(Address address) {
    for (Loaded& one : loaded_) {
        const Module& module = one.file.module;
        if (address < module.start || address >= module.end) {
            continue;
        }
        std::string text = SymbolsOf(one).Describe(address);
        if (text.empty()) {
            text =
                module.path.substr(module.path.rfind('/') + 1) + "+" + Hex(address - module.start);
        }
        return text;
    }
    return "";
}

}  // namespace example
