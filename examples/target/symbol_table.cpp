// The names of a module's functions and globals.
#include "target/symbol_table.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>

namespace example {

namespace {

// The name that a function of C++ has in its source; others stay as they are. Long ones too: a
// damaged file must not choose how deep the C++ library recurses.
std::string SourceName(std::string_view name) {
    constexpr std::size_t kLongest = 512;
    std::string text(name);
    if (!name.starts_with("_Z") || name.size() > kLongest) {
        return text;
    }
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> source(
        abi::__cxa_demangle(text.c_str(), nullptr, nullptr, &status), &std::free);
    return source == nullptr ? text : source.get();
}

}  // namespace

void SymbolTable::Add(std::string_view name, Address address, std::uint64_t bytes) {
    if (name.empty() || symbols_.size() >= kMostSymbols ||
        name.size() > kMostNameBytes - names_.size()) {
        return;
    }
    symbols_.push_back({address, bytes, static_cast<std::uint32_t>(names_.size()),
                        static_cast<std::uint32_t>(name.size())});
    names_ += name;
}

std::string_view SymbolTable::NameOf(const Symbol& symbol) const {
    return std::string_view(names_).substr(symbol.name_start, symbol.name_length);
}

// Of several symbols at one address, the longest comes last, which is the one that Describe takes:
// a marker without length says less than a function. Stable, so that the first added counts else.
void SymbolTable::Sort() {
    std::stable_sort(symbols_.begin(), symbols_.end(), [](const Symbol& a, const Symbol& b) {
        return a.address != b.address ? a.address < b.address : a.bytes < b.bytes;
    });
    by_name_.resize(symbols_.size());
    std::iota(by_name_.begin(), by_name_.end(), 0U);
    std::stable_sort(by_name_.begin(), by_name_.end(), [this](std::uint32_t a, std::uint32_t b) {
        return NameOf(symbols_[a]) < NameOf(symbols_[b]);
    });
}

bool SymbolTable::Find(std::string_view name, Address* address) const {
    const auto found = std::lower_bound(
        by_name_.begin(), by_name_.end(), name,
        [this](std::uint32_t i, std::string_view wanted) { return NameOf(symbols_[i]) < wanted; });
    if (found == by_name_.end() || NameOf(symbols_[*found]) != name) {
        return false;
    }
    *address = symbols_[*found].address;
    return true;
}

std::string SymbolTable::Describe(Address address) const {
    const auto next =
        std::upper_bound(symbols_.begin(), symbols_.end(), address,
                         [](Address wanted, const Symbol& s) { return wanted < s.address; });
    if (next == symbols_.begin()) {
        return "";
    }
    const Symbol& symbol = *std::prev(next);
    const std::uint64_t offset = address - symbol.address;
    if (symbol.bytes != 0 && offset >= symbol.bytes) {
        return "";
    }
    std::string text = SourceName(NameOf(symbol));
    if (offset != 0) {
        char digits[24];
        (void)std::snprintf(digits, sizeof digits, "+0x%llx",
                            static_cast<unsigned long long>(offset));
        text += digits;
    }
    return text;
}

}  // namespace example
