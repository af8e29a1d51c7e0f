// The names that a loaded module of Windows exports, read out of its memory.
//
//     module + 0     "MZ", and at 0x3C where the headers begin
//     headers        "PE\0\0", 20 bytes of the file's header, the optional header: its magic number
//                    (64 or 32 bits), the module's size, and a directory with the export table
//     export table   how many names there are, and where three arrays begin: the names' offsets,
//                    for each name its index, and the functions' offsets by index
//
// All offsets count from the module's start.
#include "target/pe_exports.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace example {

namespace {

constexpr std::uint32_t kMostHeaderOffset = 0x10000;
constexpr std::uint32_t kMostNames = 1 << 17;
constexpr std::uint32_t kMostTableBytes = 16 << 20;
constexpr std::size_t kMostNameLength = 4096;

using Bytes = std::vector<unsigned char>;

std::uint16_t Number16(const Bytes& bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

std::uint32_t Number32(const Bytes& bytes, std::size_t offset) {
    return Number16(bytes, offset) | static_cast<std::uint32_t>(Number16(bytes, offset + 2)) << 16;
}

// A part of a module.
struct Range {
    std::uint32_t offset = 0;
    std::uint32_t bytes = 0;

    [[nodiscard]] bool Holds(std::uint32_t place) const {
        return place >= offset && place - offset < bytes;
    }
};

class ModuleReader {
  public:
    ModuleReader(Address address, const ReadBytes& read) : address_(address), read_(read) {}

    // False when no module begins here.
    bool ReadHeaders() {
        constexpr std::size_t kFileHeaderBytes = 24;
        Bytes start;
        Bytes headers;
        if (!Read(0, 0x40, &start) || start[0] != 'M' || start[1] != 'Z') {
            return false;
        }
        const std::uint32_t offset = Number32(start, 0x3C);
        if (offset > kMostHeaderOffset || !Read(offset, kFileHeaderBytes + 120, &headers) ||
            std::memcmp(headers.data(), "PE\0\0", 4) != 0) {
            return false;
        }
        const std::uint16_t magic = Number16(headers, kFileHeaderBytes);
        if (magic != 0x10B && magic != 0x20B) {
            return false;
        }
        size_ = Number32(headers, kFileHeaderBytes + 56);
        const std::size_t directory = kFileHeaderBytes + (magic == 0x20B ? 112 : 96);
        exports_ = {Number32(headers, directory), Number32(headers, directory + 4)};
        return true;
    }

    [[nodiscard]] std::uint32_t Size() const { return size_; }

    void ReadNames(SymbolTable* symbols) {
        Bytes table;
        if (exports_.bytes < 40 || exports_.bytes > kMostTableBytes ||
            !ReadInside(exports_.offset, exports_.bytes, &table)) {
            return;
        }
        const std::uint32_t functions = Number32(table, 20);
        const std::uint32_t names = Number32(table, 24);
        Bytes function_offsets;
        Bytes name_offsets;
        Bytes indices;
        if (functions > kMostNames || names > kMostNames ||
            !ReadInside(Number32(table, 28), functions * 4, &function_offsets) ||
            !ReadInside(Number32(table, 32), names * 4, &name_offsets) ||
            !ReadInside(Number32(table, 36), names * 2, &indices)) {
            return;
        }
        for (std::uint32_t i = 0; i < names; ++i) {
            const std::uint16_t index = Number16(indices, i * 2U);
            if (index < functions) {
                Add(table, Number32(name_offsets, i * 4U), Number32(function_offsets, index * 4U),
                    symbols);
            }
        }
    }

  private:
    bool Read(std::uint32_t offset, std::size_t count, Bytes* bytes) {
        bytes->resize(count);
        return count == 0 || read_(address_ + offset, bytes->data(), count);
    }

    bool ReadInside(std::uint32_t offset, std::uint32_t count, Bytes* bytes) {
        return offset <= size_ && count <= size_ - offset && Read(offset, count, bytes);
    }

    // The names lie within the export table, where linkers put them. So does what stands in place
    // of a function that another module has, which is no address.
    void Add(const Bytes& table, std::uint32_t name, std::uint32_t function, SymbolTable* symbols) {
        if (!exports_.Holds(name) || exports_.Holds(function) || function >= size_) {
            return;
        }
        const auto* const text =
            reinterpret_cast<const char*>(table.data()) + (name - exports_.offset);
        const std::size_t room = exports_.bytes - (name - exports_.offset);
        const void* const end = std::memchr(text, 0, std::min(room, kMostNameLength));
        if (end != nullptr) {
            symbols->Add(std::string_view(text, static_cast<const char*>(end)), address_ + function,
                         0);
        }
    }

    const Address address_;
    const ReadBytes& read_;
    std::uint32_t size_ = 0;
    Range exports_;
};

}  // namespace

std::uint64_t ModuleBytes(Address address, const ReadBytes& read) {
    ModuleReader module(address, read);
    return module.ReadHeaders() ? module.Size() : 0;
}

void ReadExportedNames(Address address, const ReadBytes& read, SymbolTable* symbols) {
    ModuleReader module(address, read);
    if (module.ReadHeaders()) {
        module.ReadNames(symbols);
    }
    symbols->Sort();
}

}  // namespace example
