// Files that are not wrong but rare.
#include <filesystem>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "analysis-writer/scan_blocks.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"

namespace {

namespace fs = std::filesystem;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

const fixtures::Frame kFrame = {{{1, 2}}, {}, {{3, 4}, {5, 6}}};

TEST(LargeBlobFile, BlocksBeyond4GiBAreRead) {
    constexpr std::int64_t kPosition = (std::int64_t{5} << 30) + 7;
    for (const int compression : {1, 2}) {
        const TempDirectory directory;
        const auto block =
            compression == 1 ? analysis_writer::scanFrameBlock(kFrame) : analysis_writer::frameBlock(kFrame);
        const api::Analysis analysis(AnalysisBuilder()
                                         .compression(compression)
                                         .frameAt(kPosition)
                                         .bytesAt(kPosition, block)
                                         .write(directory.path()));
        EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), kFrame);
    }
}

TEST(LongPath, IsReadUpToWhatSqliteTakesAndFailsWithATextBeyond) {
    const TempDirectory base;
    fs::path directory = base.path();
    while (directory.string().size() < 400) {
        directory /= "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 long name";
    }
    const api::Analysis analysis(AnalysisBuilder().frame(kFrame).write(directory));
    ASSERT_TRUE(analysis) << api::lastError();
    EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), kFrame);

    fs::path tooLong = base.path();
    while (tooLong.string().size() < 3700) {
        tooLong /= std::string(200, 'x');
    }
    fs::create_directories(tooLong);
    for (const char* const file : {"analysis.kvd", "analysis.kvd_bin"}) {
        fs::copy_file(directory / file, tooLong / file);
    }
    EXPECT_EQ(kova_open(tooLong.c_str(), 0), 0U);
    EXPECT_EQ(api::lastError(), "unable to open database file");
    const std::string beyondTheSystem(5000, 'x');
    EXPECT_EQ(kova_open(beyondTheSystem.c_str(), 0), 0U);
    EXPECT_EQ(api::lastError(), "Specified analysis directory does not exist.");
}

TEST(SymbolicLinks, AreFollowed) {
    const TempDirectory base;
    AnalysisBuilder().frame(kFrame).write(base / "real.d");
    fs::create_directory_symlink(base / "real.d", base / "link.d");
    fs::create_directory(base / "files.d");
    for (const char* const file : {"analysis.kvd", "analysis.kvd_bin"}) {
        fs::create_symlink(base / "real.d" / file, base / "files.d" / file);
    }
    for (const char* const name : {"link.d", "files.d"}) {
        const api::Analysis analysis(base / name);
        ASSERT_TRUE(analysis) << name << ": " << api::lastError();
        EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), kFrame);
    }
}

}  // namespace
