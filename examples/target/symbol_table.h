// The names of a module's functions and globals.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "target/target.h"

namespace example {

// Filled once, then asked: Add for each symbol, Sort, and after that the questions.
//
// Thread-safety: the questions may be asked by several threads at once.
class SymbolTable {
  public:
    // Symbols beyond these are left out: a file that is damaged may claim any number of them.
    static constexpr std::size_t kMostSymbols = 4'000'000;
    static constexpr std::size_t kMostNameBytes = 1'000'000'000;

    // bytes: how long the function or global is; 0 where nobody says, which then reaches up to the
    // next symbol. A symbol without a name is ignored.
    void Add(std::string_view name, Address address, std::uint64_t bytes);

    void Sort();

    [[nodiscard]] bool Find(std::string_view name, Address* address) const;

    // "name", or "name+0x1c" with the symbol that address lies in; empty if it lies in none. Names
    // of C++ are as in the source; Find knows them as the linker does.
    [[nodiscard]] std::string Describe(Address address) const;

    [[nodiscard]] std::size_t Count() const { return symbols_.size(); }

  private:
    // Hundreds of thousands of these are common, so that the names lie in one text.
    struct Symbol {
        Address address;
        std::uint64_t bytes;
        std::uint32_t name_start;
        std::uint32_t name_length;
    };

    [[nodiscard]] std::string_view NameOf(const Symbol& symbol) const;

    std::string names_;
    std::vector<Symbol> symbols_;         // by address after Sort
    std::vector<std::uint32_t> by_name_;  // indices of symbols_
};

}  // namespace example
