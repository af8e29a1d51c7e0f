// The names that a loaded module of Windows exports, read out of its memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "target/symbol_table.h"
#include "target/target.h"

namespace example {

// Reads count bytes at address into bytes; false when they are not all there.
using ReadBytes = std::function<bool(Address address, void* bytes, std::size_t count)>;

// How many bytes the module at address takes; 0 when no module begins there.
std::uint64_t ModuleBytes(Address address, const ReadBytes& read);

// Fills in the exported names and sorts them. A module whose tables are damaged gives fewer names
// or none: nothing in them is trusted, and the work has a bound.
void ReadExportedNames(Address address, const ReadBytes& read, SymbolTable* symbols);

}  // namespace example
