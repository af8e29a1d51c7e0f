// The symbols of an ELF file.
#include "target/elf_symbols.h"

#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "target/descriptor.h"

namespace example {

namespace {

constexpr std::size_t kLongestName = 4096;

// A section that is said to be larger is passed over: a file with holes can claim any size, and its
// data would be read into memory.
constexpr std::uint64_t kMostSectionBytes = 1 << 29;
constexpr std::uint64_t kPage = 4096;

struct EndElf {
    void operator()(Elf* elf) const { (void)elf_end(elf); }  // counts references
};
using ElfFile = std::unique_ptr<Elf, EndElf>;

// How far from the addresses in the file it was loaded: the loaded part that begins at file_offset
// is at start. False when there is none.
bool FindBias(Elf* elf, Address start, std::uint64_t file_offset, Address* bias) {
    std::size_t count = 0;
    if (elf_getphdrnum(elf, &count) != 0) {
        return false;
    }
    count = std::min<std::size_t>(count, 1000);
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr header;
        if (gelf_getphdr(elf, static_cast<int>(i), &header) != nullptr &&
            header.p_type == PT_LOAD && header.p_offset / kPage == file_offset / kPage) {
            *bias = start - header.p_vaddr / kPage * kPage;
            return true;
        }
    }
    return false;
}

bool IsCodeOrData(const GElf_Sym& symbol) {
    if (symbol.st_shndx == SHN_UNDEF || symbol.st_shndx == SHN_ABS) {
        return false;
    }
    switch (GELF_ST_TYPE(symbol.st_info)) {
        case STT_FUNC:
        case STT_GNU_IFUNC:
        case STT_OBJECT:
            return true;
        case STT_NOTYPE:  // what was written in assembly language, such as _start
            return GELF_ST_BIND(symbol.st_info) != STB_LOCAL;
        default:
            return false;
    }
}

// The name at an offset of the section of names. Looked up here and not by elf_strptr, which
// searches for the end of the section again at each call.
std::string_view NameAt(const Elf_Data* names, std::uint64_t offset) {
    if (names->d_buf == nullptr || offset >= names->d_size) {
        return {};
    }
    const char* name = static_cast<const char*>(names->d_buf) + offset;
    const std::size_t most = std::min<std::size_t>(names->d_size - offset, kLongestName);
    return {name, strnlen(name, most)};
}

void AddSymbolsOf(Elf* elf, Elf_Scn* section, const GElf_Shdr& header, Address bias,
                  SymbolTable* symbols) {
    Elf_Scn* names_section = elf_getscn(elf, header.sh_link);
    GElf_Shdr names_header;
    if (header.sh_size > kMostSectionBytes || names_section == nullptr ||
        gelf_getshdr(names_section, &names_header) == nullptr ||
        names_header.sh_size > kMostSectionBytes) {
        return;
    }
    const Elf_Data* data = elf_getdata(section, nullptr);
    const Elf_Data* names = elf_getdata(names_section, nullptr);
    if (data == nullptr || names == nullptr || header.sh_entsize == 0) {
        return;
    }
    const std::size_t count =
        std::min<std::uint64_t>(data->d_size / header.sh_entsize, SymbolTable::kMostSymbols);
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Sym symbol;
        // libelf takes the data for what it may change.
        if (gelf_getsym(const_cast<Elf_Data*>(data), static_cast<int>(i), &symbol) == nullptr) {
            return;
        }
        if (IsCodeOrData(symbol)) {
            symbols->Add(NameAt(names, symbol.st_name), bias + symbol.st_value, symbol.st_size);
        }
    }
}

// A pipe or a device would be waited for, and is no module.
bool IsRegular(int file) {
    struct stat about {};
    return fstat(file, &about) == 0 && S_ISREG(about.st_mode);
}

}  // namespace

void LoadElfSymbols(const std::string& path, Address start, std::uint64_t file_offset,
                    SymbolTable* symbols) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen() || !IsRegular(file.Get()) || elf_version(EV_CURRENT) == EV_NONE) {
        return;
    }
    // Read and not mapped: a file that somebody cuts short meanwhile must not fault.
    const ElfFile elf(elf_begin(file.Get(), ELF_C_READ, nullptr));
    Address bias = 0;
    if (elf == nullptr || elf_kind(elf.get()) != ELF_K_ELF ||
        !FindBias(elf.get(), start, file_offset, &bias)) {
        return;
    }
    int tables = 0;  // a file has one of each kind; a damaged one claims any number
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf.get(), section)) != nullptr;) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) != nullptr &&
            (header.sh_type == SHT_SYMTAB || header.sh_type == SHT_DYNSYM) && ++tables <= 2) {
            AddSymbolsOf(elf.get(), section, header, bias, symbols);
        }
    }
}

}  // namespace example
