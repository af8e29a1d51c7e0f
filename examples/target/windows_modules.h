// The modules of a debuggee and their names.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "target/pe_exports.h"
#include "target/symbol_table.h"
#include "target/target.h"

namespace example {

// Told of what the debuggee loads and unloads. The names of a module are read when they are asked
// for the first time: most modules of a process are never looked into.
//
// Thread-safety: none of its own.
class ModuleList {
  public:
    // read is kept, and is called as long as there are modules.
    explicit ModuleList(ReadBytes read) : read_(std::move(read)) {}

    void Add(Address start, std::string path);
    void Remove(Address start);
    void Clear() { modules_.clear(); }

    [[nodiscard]] std::vector<Module> List() const;  // in the order of their loading

    // As Target::FindSymbol and Target::Describe. Of equal names counts the one loaded first, and
    // the program itself is loaded before all others.
    [[nodiscard]] bool FindSymbol(const std::string& name, Address* address);
    [[nodiscard]] std::string Describe(Address address);

  private:
    struct Loaded {
        Module module;
        std::unique_ptr<SymbolTable> symbols;  // null until they are needed
    };

    const SymbolTable& SymbolsOf(Loaded* loaded);

    ReadBytes read_;
    std::vector<Loaded> modules_;
};

}  // namespace example
