#include "analysis-writer/analysis_writer.h"

#include <gtest/gtest.h>

#include "fixtures/analysis_builder.h"
#include "fixtures/sqlite_rows.h"
#include "fixtures/temp_directory.h"

namespace analysis_writer {
namespace {

using fixtures::AnalysisBuilder;
using fixtures::sqliteRows;
using fixtures::TempDirectory;
using Rows = std::vector<std::string>;

TEST(AnalysisWriter, RowsTellPositionsAndSumsAndAreHiddenUntilFinished) {
    const TempDirectory directory;
    AnalysisWriter writer(directory.path(), {});
    writer.addFrame({.id = 1}, {{{10, 5}, {20, 7}}, {}});
    writer.addBlock({.id = 7}, Bytes{1, 2, 3});
    const auto database = directory / "analysis.kvd";
    EXPECT_EQ(sqliteRows(database, "SELECT COUNT(*) FROM sqlite_master"), Rows{"0"});
    writer.finish();
    const std::size_t second = std::filesystem::file_size(directory / "analysis.kvd_bin") - 3;
    EXPECT_EQ(
        sqliteRows(database,
                   "SELECT Id, KovaId, NumPeaks, NumScans, SummedIntensities, MaxIntensity FROM Frames"),
        (Rows{"1|16|2|2|12|7", "7|" + std::to_string(second) + "|NULL|NULL|NULL|NULL"}));
}

TEST(AnalysisWriter, RefusesToOverwriteAndReportsSql) {
    const TempDirectory directory;
    AnalysisBuilder().write(directory.path());
    EXPECT_THROW(AnalysisBuilder().write(directory.path()), std::runtime_error);
    EXPECT_THROW(AnalysisBuilder().sql("UPDATE Missing SET x=1").write(directory / "other"),
                 std::runtime_error);
}

}  // namespace
}  // namespace analysis_writer
