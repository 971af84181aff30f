#include <fstream>
#include <functional>

#include <gtest/gtest.h>

#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

constexpr const char* kMajorQuery = "SELECT Value FROM GlobalMetadata WHERE Key='SchemaVersionMajor'";

AnalysisBuilder valid() { return std::move(AnalysisBuilder().frame({{{1, 1}}})); }

TEST(Open, ValidAnalysisGivesHandleWithoutRecalibration) {
    const TempDirectory directory;
    const api::Analysis analysis(valid().write(directory.path()));
    ASSERT_TRUE(analysis) << api::lastError();
    EXPECT_EQ(kova_has_recalibrated_state(analysis.handle), 0U);
}

TEST(Open, RecalibrationFallsBackWithoutCalibrationFile) {
    const TempDirectory directory;
    const api::Analysis analysis(valid().write(directory.path()), true);
    ASSERT_TRUE(analysis) << api::lastError();
    EXPECT_EQ(kova_has_recalibrated_state(analysis.handle), 0U);
}

TEST(Open, CloseOfZeroDoesNothing) { kova_close(0); }

struct PathCase {
    const char* name;
    const char* path;
    const char* text;
};

class OpenPath : public testing::TestWithParam<PathCase> {};

TEST_P(OpenPath, FailsWithText) {
    EXPECT_EQ(kova_open(GetParam().path, 0), 0U);
    EXPECT_EQ(api::lastError(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, OpenPath,
    testing::Values(PathCase{"Null", nullptr, "Analysis directory name must not be NULL."},
                    PathCase{"Empty", "", "Specified analysis directory does not exist."},
                    PathCase{"Missing", "no/such/directory", "Specified analysis directory does not exist."},
                    PathCase{"BrokenUtf8", "a\xFFz", "Invalid UTF-8"},
                    PathCase{"Overlong", "a\xC0\xAF", "Invalid UTF-8"},
                    PathCase{"RegularFile", "/proc/self/exe", "Specified path is not a directory."}),
    [](const auto& each) { return each.param.name; });

struct DamageCase {
    const char* name;
    std::function<void(AnalysisBuilder&)> damage;
    std::string text;
};

class OpenDamaged : public testing::TestWithParam<DamageCase> {};

TEST_P(OpenDamaged, FailsWithText) {
    const TempDirectory directory;
    AnalysisBuilder builder = valid();
    GetParam().damage(builder);
    const api::Analysis analysis(builder.write(directory.path()));
    EXPECT_FALSE(analysis);
    EXPECT_EQ(api::lastError(), GetParam().text);
}

DamageCase metadatum(const char* name, const char* key, const char* value, const std::string& text) {
    return {name, [=](AnalysisBuilder& b) { b.metadatum(key, value); }, text};
}

DamageCase missing(const char* name, const char* key, const std::string& text) {
    return {name, [=](AnalysisBuilder& b) { b.withoutMetadatum(key); }, text};
}

DamageCase sql(const char* name, const char* statement, const std::string& text) {
    return {name, [=](AnalysisBuilder& b) { b.sql(statement); }, text};
}

std::string queryOf(const char* key) {
    return std::string("SELECT Value FROM GlobalMetadata WHERE Key='") + key + "'";
}

INSTANTIATE_TEST_SUITE_P(
    Metadata, OpenDamaged,
    testing::Values(
        metadatum("SchemaTooNew", "SchemaVersionMajor", "4", "KVD schema version 4.1 not supported."),
        metadatum("SchemaTooOld", "SchemaVersionMajor", "0",
                  "Schema version not implemented in KvdReaderImpl::prepareFrameInfoStatement()"),
        metadatum("SchemaNegative", "SchemaVersionMajor", "-3",
                  "Schema version not implemented in KvdReaderImpl::prepareFrameInfoStatement()"),
        metadatum("IntegerWithBlank", "SchemaVersionMajor", " 3",
                  std::string("Query result has wrong type: ") + kMajorQuery),
        metadatum("IntegerWithFraction", "SchemaVersionMajor", "3.0",
                  std::string("Query result has wrong type: ") + kMajorQuery),
        metadatum("IntegerTooLarge", "SchemaVersionMajor", "4294967299",
                  std::string("Query result has wrong type: ") + kMajorQuery),
        missing("SchemaMissing", "SchemaVersionMajor",
                std::string("Query result unexpectedly empty: ") + kMajorQuery),
        sql("SchemaNull", "UPDATE GlobalMetadata SET Value=NULL WHERE Key='SchemaVersionMajor'",
            std::string("Query result unexpectedly NULL: ") + kMajorQuery),
        sql("SchemaTwice", "INSERT INTO GlobalMetadata VALUES('SchemaVersionMajor','3')",
            std::string("Query resulted in more than one result: ") + kMajorQuery),
        missing("MinorMissing", "SchemaVersionMinor",
                "Query result unexpectedly empty: " + queryOf("SchemaVersionMinor")),
        metadatum("CompressionZero", "KovaCompressionType", "0", "KovaCompressionType 0 not supported."),
        metadatum("CompressionUnknown", "KovaCompressionType", "4", "KovaCompressionType 4 not supported."),
        metadatum("CompressionNoNumber", "KovaCompressionType", "two",
                  "Query result has wrong type: " + queryOf("KovaCompressionType")),
        metadatum("SpectraWithoutFlags", "KovaCompressionType", "3",
                  "Query result unexpectedly empty: " + queryOf("HasLineSpectra")),
        DamageCase{"SpectraInMobilityFormat",
                   [](AnalysisBuilder& b) {
                       b.metadatum("KovaCompressionType", "3").metadatum("HasLineSpectra", "1");
                       b.metadatum("HasLineSpectraPeakWidth", "0").metadatum("HasProfileSpectra", "1");
                   },
                   "KovaCompressionType 3 not supported."},
        DamageCase{"FlagAsWord",
                   [](AnalysisBuilder& b) {
                       b.metadatum("KovaCompressionType", "3").metadatum("HasLineSpectra", "true");
                   },
                   "Query result has wrong type: " + queryOf("HasLineSpectra")},
        metadatum("SamplesZero", "DigitizerNumSamples", "0",
                  "Unreasonable digitizer timing settings in global metadata."),
        metadatum("SamplesNoNumber", "DigitizerNumSamples", "1e5",
                  "Global metadatum DigitizerNumSamples not interpretable as desired type."),
        missing("SamplesMissing", "DigitizerNumSamples",
                "Global metadatum DigitizerNumSamples not set but required."),
        metadatum("FactorNoNumber", "PeakListIndexScaleFactor", "one",
                  "Global metadatum PeakListIndexScaleFactor not interpretable as desired type."),
        missing("FactorMissing", "PeakListIndexScaleFactor",
                "Global metadatum PeakListIndexScaleFactor not set but required."),
        sql("NoMetadataTable", "DROP TABLE GlobalMetadata", "no such table: GlobalMetadata"),
        sql("NoFramesTable", "DROP TABLE Frames", "no such table: Frames"),
        sql("NoPositionColumn", "ALTER TABLE Frames RENAME COLUMN KovaId TO Other",
            "no such column: KovaId")),
    [](const auto& each) { return each.param.name; });

TEST(Open, SignedNumbersAndWrappingBinCountAreAccepted) {
    const TempDirectory directory;
    AnalysisBuilder builder = valid();
    builder.metadatum("SchemaVersionMajor", "+3").metadatum("PeakListIndexScaleFactor", "-1");
    EXPECT_TRUE(api::Analysis(builder.write(directory.path()))) << api::lastError();
}

TEST(Open, ProductThatWrapsToZeroIsRefused) {
    const TempDirectory directory;
    AnalysisBuilder builder = valid();
    builder.metadatum("PeakListIndexScaleFactor", "2").metadatum("DigitizerNumSamples", "2147483648");
    EXPECT_FALSE(api::Analysis(builder.write(directory.path())));
    EXPECT_EQ(api::lastError(), "Unreasonable digitizer timing settings in global metadata.");
}

class OpenFiles : public testing::Test {
protected:
    void SetUp() override { valid().write(directory.path()); }

    std::string openError() {
        const api::Analysis analysis(directory.path());
        return analysis ? "" : api::lastError();
    }

    TempDirectory directory;
};

TEST_F(OpenFiles, MissingFilesAreNamed) {
    std::filesystem::remove(directory / "analysis.kvd_bin");
    EXPECT_EQ(openError(), directory.string() + "/analysis.kvd_bin doesn't exist.");
    std::filesystem::remove(directory / "analysis.kvd");
    EXPECT_EQ(openError(), directory.string() + "/analysis.kvd doesn't exist.");
}

TEST_F(OpenFiles, DatabaseThatIsNoneGivesSqliteText) {
    std::ofstream(directory / "analysis.kvd") << std::string(4096, 'x');
    EXPECT_EQ(openError(), "file is not a database");
}

TEST_F(OpenFiles, BlobThatIsNoRegularFileCannotBeOpened) {
    std::filesystem::remove(directory / "analysis.kvd_bin");
    std::filesystem::create_directory(directory / "analysis.kvd_bin");
    EXPECT_EQ(openError(), "Can't open file: " + directory.string() + "/analysis.kvd_bin for reading.");
}

TEST_F(OpenFiles, NothingIsCreatedBesideTheData) {
    EXPECT_EQ(openError(), "");
    const auto files = std::distance(std::filesystem::directory_iterator(directory.path()), {});
    EXPECT_EQ(files, 2);
}

TEST_F(OpenFiles, PathMayHoldAnyUtf8) {
    const TempDirectory parent;
    const std::filesystem::path named = parent / "Prob\u00E9 \u6E2C\u5B9A \U0001F9EA 'x'";
    std::filesystem::rename(directory.path(), named);
    EXPECT_TRUE(api::Analysis(named)) << api::lastError();
    std::filesystem::rename(named, directory.path());
}

}  // namespace
