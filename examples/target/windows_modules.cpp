// The modules of a debuggee and their names.
#include "target/windows_modules.h"

#include <algorithm>
#include <utility>

namespace example {

void ModuleList::Add(Address start, std::string path) {
    modules_.push_back({{start, start + ModuleBytes(start, read_), std::move(path)}, nullptr});
}

void ModuleList::Remove(Address start) {
    std::erase_if(modules_, [start](const Loaded& loaded) { return loaded.module.start == start; });
}

std::vector<Module> ModuleList::List() const {
    std::vector<Module> list;
    for (const Loaded& loaded : modules_) {
        list.push_back(loaded.module);
    }
    return list;
}

bool ModuleList::FindSymbol(const std::string& name, Address* address) {
    return std::any_of(modules_.begin(), modules_.end(),
                       [&](Loaded& loaded) { return SymbolsOf(&loaded).Find(name, address); });
}

std::string ModuleList::Describe(Address address) {
    for (Loaded& loaded : modules_) {
        if (address >= loaded.module.start && address < loaded.module.end) {
            return SymbolsOf(&loaded).Describe(address);
        }
    }
    return "";
}

const SymbolTable& ModuleList::SymbolsOf(Loaded* loaded) {
    if (loaded->symbols == nullptr) {
        loaded->symbols = std::make_unique<SymbolTable>();
        ReadExportedNames(loaded->module.start, read_, loaded->symbols.get());
    }
    return *loaded->symbols;
}

}  // namespace example
