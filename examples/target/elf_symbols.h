// The symbols of an ELF file: a program or a shared library.
#pragma once

#include <string>

#include "target/symbol_table.h"

namespace example {

// Adds the functions and globals of the file that is mapped at start with what stands at
// file_offset in it. A file that cannot be read, or is damaged, gives fewer symbols or none.
void LoadElfSymbols(const std::string& path, Address start, std::uint64_t file_offset,
                    SymbolTable* symbols);

}  // namespace example
