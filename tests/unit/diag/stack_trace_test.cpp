#include "diag/stack_trace.h"

#include <cstring>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "diag/symbol_table.h"
#include "fixtures/temp_directory.h"

namespace {

using lumo::diag::StackTrace;
using lumo::diag::SymbolTable;

int depthLimit(int depth) {
    volatile int keepsTheFrame = depth;
    return depth == 0 ? static_cast<int>(StackTrace::capture().toString().size())
                      : depthLimit(depth - 1) + keepsTheFrame * 0;
}

TEST(StackTrace, DeepRecursionIsCutNotFatal) {
    EXPECT_GT(depthLimit(5000), 0);
    EXPECT_TRUE(StackTrace::capture(StackTrace::kMaxFrames).empty());
    EXPECT_EQ(StackTrace().toString(), "");
}

// A symbol table is damaged in every place in turn; a look-up finds a name inside the file or none.
TEST(SymbolTable, AnyFileIsReadSafely) {
    std::ostringstream program;
    program << std::ifstream("/proc/self/exe", std::ios::binary).rdbuf();
    const std::string original = program.str();
    Elf64_Ehdr header;
    std::memcpy(&header, original.data(), sizeof header);
    fixtures::TempDirectory folder;
    const auto check = [&](const std::string& content) {
        std::ofstream(folder / "file", std::ios::binary) << content;
        const SymbolTable table((folder / "file").string());
        for (std::uint64_t address = 0; address < 1 << 16; address += 4096) {
            const char* const name = table.find(address).name;
            EXPECT_TRUE(name == nullptr || std::strlen(name) < content.size());
        }
    };
    for (const std::size_t size : {0U, 1U, 63U, 64U, 4096U}) {
        check(original.substr(0, size));
    }
    std::string small = original.substr(0, sizeof header);
    header.e_shoff = sizeof header;
    header.e_shnum = 2;
    std::memcpy(small.data(), &header, sizeof header);
    for (const std::uint64_t claimed : {0ULL, 1ULL, 100ULL, 1ULL << 27, 1ULL << 62, ~0ULL}) {
        for (const std::uint64_t offset : {0ULL, 64ULL, 1ULL << 62, ~0ULL}) {
            Elf64_Shdr sections[2] = {};
            sections[0].sh_type = SHT_SYMTAB;
            sections[0].sh_link = 1;
            sections[0].sh_offset = sections[1].sh_offset = offset;
            sections[0].sh_size = claimed;
            sections[1].sh_size = 1;
            check(small + std::string(reinterpret_cast<const char*>(sections), sizeof sections));
        }
    }
}

}  // namespace
