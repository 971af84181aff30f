#include "diag/symbol_table.h"

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

// Functions of an ELF file by address, from its full symbol table. The file is that of a running program or
// library, but it may have been replaced since. So everything is held against the size of the file, and
// whatever does not fit means that there are no names.
namespace lumo::diag {

namespace {

// Larger tables are left unread: names are a convenience, and the memory is the caller's.
constexpr std::uint64_t kMaxSectionSize = std::uint64_t{256} << 20;

// Reads all of it, or returns false. By position, so no state of the descriptor is shared with anyone.
bool readAt(int descriptor, std::uint64_t offset, void* destination, std::size_t size) {
    auto* out = static_cast<char*>(destination);
    for (std::size_t done = 0; done < size;) {
        const ssize_t count = pread(descriptor, out + done, size - done, static_cast<off_t>(offset + done));
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

// Memory is taken only after the section's last byte was read, so a size that the file does not have takes
// none.
template <class Container>
bool readSection(int descriptor, const Elf64_Shdr& section, Container& result) {
    char last = 0;
    if (section.sh_size == 0 || section.sh_size > kMaxSectionSize ||
        section.sh_offset > INT64_MAX - section.sh_size ||
        !readAt(descriptor, section.sh_offset + section.sh_size - 1, &last, 1)) {
        return false;
    }
    result.resize(section.sh_size / sizeof(typename Container::value_type));
    return readAt(descriptor, section.sh_offset, result.data(),
                  result.size() * sizeof(typename Container::value_type));
}

bool isElf64(const Elf64_Ehdr& header) {
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
           header.e_shentsize == sizeof(Elf64_Shdr) && header.e_shoff < INT64_MAX / 2;
}

// Sections of the file; none if it is not a 64-bit ELF file, or ends too early.
std::vector<Elf64_Shdr> readSections(int descriptor) {
    Elf64_Ehdr header{};
    if (!readAt(descriptor, 0, &header, sizeof header) || !isElf64(header)) {
        return {};
    }
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (!readAt(descriptor, header.e_shoff, sections.data(), sections.size() * sizeof(Elf64_Shdr))) {
        return {};
    }
    return sections;
}

}  // namespace

// Whatever goes wrong means no names, lack of memory included: a trace without names is better than none.
SymbolTable::SymbolTable(const std::string& path) : file(path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor >= 0) {
        try {
            load(descriptor);
        } catch (const std::exception&) {
            symbols.clear();
        }
        close(descriptor);
    }
}

// A table of symbols refers to the table of their names by its section number. Both or none are kept.
void SymbolTable::load(int descriptor) {
    const std::vector<Elf64_Shdr> sections = readSections(descriptor);
    for (const Elf64_Shdr& section : sections) {
        if (section.sh_type == SHT_SYMTAB && section.sh_link < sections.size()) {
            const bool complete = readSection(descriptor, sections[section.sh_link], names) &&
                                  readSection(descriptor, section, symbols);
            if (!complete) {
                symbols.clear();
            }
            return;
        }
    }
}

SymbolTable::Function SymbolTable::find(std::uint64_t address) const {
    for (const Elf64_Sym& symbol : symbols) {
        const bool covers = address >= symbol.st_value && address - symbol.st_value < symbol.st_size;
        if (covers && ELF64_ST_TYPE(symbol.st_info) == STT_FUNC && symbol.st_shndx != SHN_UNDEF &&
            symbol.st_name < names.size()) {
            return {names.c_str() + symbol.st_name, symbol.st_value};
        }
    }
    return {};
}

}  // namespace lumo::diag
