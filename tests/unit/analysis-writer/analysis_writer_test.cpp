#include "analysis-writer/analysis_writer.h"

#include <gtest/gtest.h>

#include <fstream>

#include "analysis-writer/scan_blocks.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/sqlite_rows.h"
#include "fixtures/temp_directory.h"

namespace analysis_writer {
namespace {

using fixtures::AnalysisBuilder;
using fixtures::sqliteRows;
using fixtures::TempDirectory;
using Rows = std::vector<std::string>;

Bytes fileBytes(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

const Frame kFrame = {{{10, 5}, {20, 7}}, {}};

TEST(AnalysisBuilder, WritesBlocksWhereTheRowsSay) {
    const TempDirectory directory;
    AnalysisBuilder()
        .frame(kFrame)
        .rawBlock({1, 2, 3})
        .frameAt(77, {.id = 9, .time = 2.5, .accumulationTime = {}})
        .nullPosition()
        .write(directory.path());
    const Bytes block = frameBlock(kFrame);
    const std::string second = std::to_string(16 + block.size());
    EXPECT_EQ(sqliteRows(directory / "analysis.kvd",
                         "SELECT Id, KovaId, NumPeaks, NumScans, SummedIntensities, MaxIntensity, Time, "
                         "AccumulationTime FROM Frames"),
              (Rows{"1|16|2|2|12|7|0.0|100.0", "2|" + second + "|NULL|NULL|NULL|NULL|0.0|100.0",
                    "9|77|NULL|NULL|NULL|NULL|2.5|NULL", "10|NULL|NULL|NULL|NULL|NULL|0.0|100.0"}));
    Bytes expected(16, 0xA5);
    appendBytes(expected, block);
    appendBytes(expected, Bytes{1, 2, 3});
    EXPECT_EQ(fileBytes(directory / "analysis.kvd_bin"), expected);
}

struct LayoutCase {
    std::string name;
    int schemaMajor;
    int compression;
    std::string databaseName;
    std::string timeColumns;
    std::string flags;
};

void PrintTo(const LayoutCase& value, std::ostream* out) { *out << value.name; }

class Layout : public testing::TestWithParam<LayoutCase> {};

TEST_P(Layout, FollowsVersionAndFormat) {
    const LayoutCase& expected = GetParam();
    const TempDirectory directory;
    AnalysisBuilder()
        .schema(expected.schemaMajor, 4)
        .compression(expected.compression)
        .write(directory.path());
    const auto database = directory / expected.databaseName;
    EXPECT_TRUE(std::filesystem::exists(database.string() + "_bin"));
    EXPECT_EQ(
        sqliteRows(database,
                   "SELECT COUNT(*) FROM pragma_table_info('Frames') WHERE name IN ('AccumulationTime', "
                   "'RampTime')"),
        Rows{expected.timeColumns});
    EXPECT_EQ(sqliteRows(database, "SELECT COUNT(*) FROM GlobalMetadata WHERE Key LIKE 'Has%' AND Value='1'"),
              Rows{expected.flags});
    EXPECT_EQ(sqliteRows(database,
                         "SELECT Value FROM GlobalMetadata WHERE Key IN ('SchemaVersionMajor', "
                         "'SchemaVersionMinor', 'KovaCompressionType') ORDER BY Key"),
              (Rows{std::to_string(expected.compression), std::to_string(expected.schemaMajor), "4"}));
}

INSTANTIATE_TEST_SUITE_P(Versions, Layout,
                         testing::Values(LayoutCase{"FirstVersion", 1, 1, "analysis.kvd", "0", "0"},
                                         LayoutCase{"SecondVersion", 2, 2, "analysis.kvd", "2", "0"},
                                         LayoutCase{"NonsenseVersion", -5, 9, "analysis.kvd", "2", "0"},
                                         LayoutCase{"Spectra", 3, 3, "analysis.kvs", "2", "3"}),
                         [](const auto& item) { return item.param.name; });

TEST(AnalysisBuilder, StoresScanWiseBlocks) {
    const TempDirectory directory;
    AnalysisBuilder().schema(1).compression(1).frame(kFrame).write(directory.path());
    Bytes expected(16, 0xA5);
    appendBytes(expected, scanFrameBlock(kFrame));
    EXPECT_EQ(fileBytes(directory / "analysis.kvd_bin"), expected);
}

TEST(AnalysisBuilder, DamagesMetadataOnRequest) {
    const TempDirectory directory;
    AnalysisBuilder()
        .metadatum("SchemaVersionMajor", " 3")
        .withoutMetadatum("DigitizerNumSamples")
        .withoutTable("Precursors")
        .mzCalibration({.modelType = 7, .dC1 = {}, .coefficients = {1.5, {}, 2.5, 0.0, 0.0, 6.0}})
        .sql("INSERT INTO GlobalMetadata VALUES ('SchemaVersionMajor', NULL)")
        .write(directory.path());
    const auto database = directory / "analysis.kvd";
    EXPECT_EQ(sqliteRows(database, "SELECT Value FROM GlobalMetadata WHERE Key='SchemaVersionMajor'"),
              (Rows{" 3", "NULL"}));
    EXPECT_EQ(sqliteRows(database, "SELECT COUNT(*) FROM GlobalMetadata WHERE Key='DigitizerNumSamples'"),
              Rows{"0"});
    EXPECT_EQ(sqliteRows(database, "SELECT COUNT(*) FROM sqlite_master WHERE name='Precursors'"), Rows{"0"});
    EXPECT_EQ(sqliteRows(database, "SELECT * FROM MzCalibration"),
              Rows{"1|7|0.2|24000.0|25.0|25.0|NULL|0.0|1.5|NULL|2.5|0.0|0.0|6.0"});
    EXPECT_EQ(sqliteRows(database, "SELECT ModelType, C0, C9 FROM KovaCalibration"), Rows{"2|1.0|200.0"});
}

TEST(AnalysisWriter, RefusesToOverwriteAndReportsSql) {
    const TempDirectory directory;
    AnalysisBuilder().write(directory.path());
    EXPECT_THROW(AnalysisBuilder().write(directory.path()), std::runtime_error);
    EXPECT_THROW(AnalysisBuilder().sql("UPDATE Missing SET x=1").write(directory / "other"),
                 std::runtime_error);
}

TEST(AnalysisWriter, KeepsMetadataHiddenUntilFinished) {
    const TempDirectory directory;
    AnalysisWriter writer(directory.path(), {});
    writer.addFrame({.id = 1}, kFrame);
    EXPECT_EQ(sqliteRows(directory / "analysis.kvd", "SELECT COUNT(*) FROM sqlite_master"), Rows{"0"});
    writer.finish();
    EXPECT_EQ(sqliteRows(directory / "analysis.kvd", "SELECT COUNT(*) FROM Frames"), Rows{"1"});
}

TEST(BlobFile, WritesSparselyAndAppendsBehind) {
    const TempDirectory directory;
    const auto path = directory / "blob";
    BlobFile blob(path);
    blob.writeAt(20, Bytes{7});
    EXPECT_EQ(blob.append(Bytes{8}), 21);
    blob.writeAt(17, Bytes{6});
    EXPECT_EQ(blob.size(), 22);
    blob.flush();
    Bytes expected(16, 0xA5);
    appendBytes(expected, Bytes{0, 6, 0, 0, 7, 8});
    EXPECT_EQ(fileBytes(path), expected);
}

}  // namespace
}  // namespace analysis_writer
