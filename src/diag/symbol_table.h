#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <elf.h>

namespace lumo::diag {

// Names of the functions in an ELF file by its full symbol table, which holds the internal ones too as long
// as the file is not stripped. Files may be anything: what makes no sense counts as having no symbols.
//
// The file is read, not mapped: it may change on disk while the program runs, and a mapping that loses its
// file ends the process. Look-ups go through all symbols in order, which is fast enough for the few dozen
// frames of a trace.
class SymbolTable {
public:
    explicit SymbolTable(const std::string& path);

    struct Function {
        const char* name = nullptr;
        std::uint64_t begin = 0;
    };

    // The function that covers an address as the file counts addresses; without a name if there is none.
    Function find(std::uint64_t address) const;

    const std::string& path() const { return file; }

private:
    void load(int descriptor);

    std::string file;
    std::vector<Elf64_Sym> symbols;
    std::string names;
};

}  // namespace lumo::diag
