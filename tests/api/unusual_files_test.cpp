// Files that are not wrong but rare.
#include <filesystem>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "analysis-writer/scan_blocks.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"

namespace {

namespace fs = std::filesystem;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

TEST(LargeBlobFile, BlocksBeyond4GiBAreRead) {
    constexpr std::int64_t kPosition = (std::int64_t{5} << 30) + 7;
    for (const int compression : {1, 2}) {
        const auto block = compression == 1 ? analysis_writer::scanFrameBlock(api::kSmallFrame)
                                            : analysis_writer::frameBlock(api::kSmallFrame);
        const api::Analysis analysis(
            AnalysisBuilder().compression(compression).frameAt(kPosition).bytesAt(kPosition, block));
        EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), api::kSmallFrame);
    }
}

// Of as many bytes, a few more or less.
fs::path longPath(fs::path path, std::size_t bytes) {
    while (path.string().size() < bytes) {
        path /= "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 #1? 50% " + std::string(20, 'x');
    }
    return path;
}

// Programs that write such paths are rare.
fs::path movedTo(const fs::path& to, const fs::path& from) {
    fs::create_directories(to.parent_path());
    fs::rename(from, to);
    return to;
}

TEST(LongPath, IsReadAsFarAsTheSystemGoes) {
    for (const std::size_t bytes : {400U, 480U, 560U, 4000U}) {
        const TempDirectory base;
        fixtures::smallZorelRun(2).write(base / "run.d");
        fixtures::writeSmallCalibrationStore(base / "run.d");
        const fs::path directory = movedTo(longPath(base.path(), bytes), base / "run.d");
        const api::Analysis analysis(directory);
        ASSERT_TRUE(analysis) << bytes << ": " << api::lastError();
        EXPECT_EQ(analysis.errorOf(1, 0, 3), "");
        const api::Analysis recalibrated(directory, true);
        ASSERT_TRUE(recalibrated) << api::lastError();
        EXPECT_EQ(kova_has_recalibrated_state(recalibrated.handle), 1U);
        fs::create_directory_symlink(directory, base / "link.d");
        EXPECT_EQ(api::openError(base / "link.d"), "");
    }
    EXPECT_EQ(api::openError(std::string(5000, 'x')), "Specified analysis directory does not exist.");
}

// The writer began when the path was still a short one.
TEST(LongPath, IsReadWhileTheAnalysisIsWritten) {
    for (const char* const mode : {"DELETE", "WAL"}) {
        const TempDirectory base;
        AnalysisBuilder().frame(api::kSmallFrame).write(base / "run.d");
        fixtures::WriterProcess writer(base / "run.d" / "analysis.kvd");
        ASSERT_EQ(writer.execute("PRAGMA journal_mode=" + std::string(mode)), "");
        ASSERT_EQ(writer.execute("UPDATE Frames SET RampTime=100"), "");
        const fs::path directory = movedTo(longPath(base.path(), 3900), base / "run.d");
        const api::Analysis analysis(directory);
        ASSERT_TRUE(analysis) << api::lastError();
        EXPECT_NE(analysis.errorOf(2, 0, 3), "");
        // SQLite can only change the log now: it opens journals by their name.
        if (std::string(mode) == "WAL") {
            ASSERT_EQ(writer.execute("UPDATE Frames SET Id=2"), "");
            EXPECT_EQ(analysis.readRaw(2, 0, 3).peaks(3), api::kSmallFrame);
        }
    }
}

TEST(SymbolicLinks, AreFollowed) {
    const TempDirectory base;
    AnalysisBuilder().frame(api::kSmallFrame).write(base / "real.d");
    fs::create_directory(base / "files.d");
    for (const char* const file : {"analysis.kvd", "analysis.kvd_bin"}) {
        fs::create_symlink(base / "real.d" / file, base / "files.d" / file);
    }
    EXPECT_EQ(api::Analysis(base / "files.d").readRaw(1, 0, 3).peaks(3), api::kSmallFrame);
}

}  // namespace
