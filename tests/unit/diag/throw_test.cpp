#include "diag/throw.h"

#include <cstring>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <boost/exception/diagnostic_information.hpp>

#include "diag/errors.h"
#include "diag/symbol_table.h"
#include "fixtures/temp_directory.h"

namespace {

using lumo::diag::StackTrace;
using lumo::diag::SymbolTable;
using lumo::io::calibration::CorruptDataError;
using lumo::io::kova::CorruptFrameDataError;
using lumo::io::kova::CorruptScanDataError;

[[gnu::noinline]] void raiseFrameError() { LUMO_THROW(CorruptFrameDataError(-9'000'000'000, "text")); }

TEST(Throw, KeepsTypeAndPlainText) {
    try {
        raiseFrameError();
        FAIL();
    } catch (const CorruptDataError& e) {
        EXPECT_STREQ(e.what(), "CorruptFrameDataError for FrameId=-9000000000: text");
        EXPECT_NE(dynamic_cast<const CorruptFrameDataError*>(&e), nullptr);
    }
}

TEST(Throw, AttachesPlaceAndStackTrace) {
    try {
        raiseFrameError();
        FAIL();
    } catch (const std::exception& e) {
        const std::string text = boost::diagnostic_information(e);
        for (const char* part : {"throw_test.cpp", "raiseFrameError",
                                 "CorruptFrameDataError for FrameId=", "\n#0 0x", "\n#1 0x"}) {
            EXPECT_NE(text.find(part), std::string::npos) << part << " is missing in\n" << text;
        }
        EXPECT_EQ(text.find(" /"), std::string::npos) << "the source path should be relative to the project\n"
                                                      << text;
    }
}

TEST(CorruptScanDataError, NamesFrameAndScan) {
    EXPECT_STREQ(CorruptScanDataError(7, 4294967295U, "text").what(),
                 "CorruptScanDataError for FrameId=7, Scan=4294967295: text");
}

[[gnu::noinline]] StackTrace traceFromHere() {
    StackTrace trace = StackTrace::capture();
    return trace;
}

std::string contentsOf(const char* file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

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

// Names come from the test program itself: its functions are internal, and no dynamic symbol tells them.
TEST(StackTrace, NamesInternalFunctions) {
    const std::string text = traceFromHere().toString();
    EXPECT_NE(text.find("traceFromHere("), std::string::npos) << text;
    EXPECT_NE(text.find("NamesInternalFunctions"), std::string::npos) << text;
}

// A symbol table is damaged in every place in turn; a look-up finds a name inside the file or none.
TEST(SymbolTable, AnyFileIsReadSafely) {
    const std::string original = contentsOf("/proc/self/exe");
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
