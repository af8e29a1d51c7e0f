// The modules of a process, and the names in them.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "target/proc_files.h"
#include "target/symbol_table.h"

namespace example {

// Thread-safety: none of its own.
class ProcessModules {
  public:
    // What the process has mapped now. Any of its threads that has not ended tells: the first one
    // may end before the others, and then has no memory to tell of.
    static std::vector<Module> Now(pid_t thread);

    // The same for the names below; returns what is new since the last time.
    std::vector<Module> Refresh(pid_t thread);

    // Forgets all: there is another program now.
    void Clear() { loaded_.clear(); }

    // The program's own names come first.
    [[nodiscard]] bool Find(const std::string& name, Address* address);

    // "name+0x1c", or "library.so+0x1c" in a module without a name there; else empty.
    [[nodiscard]] std::string Describe(Address address);

  private:
    struct Loaded {
        MappedFile file;
        std::string path_to_read;
        std::unique_ptr<SymbolTable> symbols;  // null until somebody asks
    };

    static const SymbolTable& SymbolsOf(Loaded& loaded);

    std::vector<Loaded> loaded_;  // by address, but the program is the first
};

}  // namespace example
