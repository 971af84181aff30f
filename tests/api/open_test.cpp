#include <fstream>

#include <gtest/gtest.h>

#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kvs.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

AnalysisBuilder valid() { return std::move(AnalysisBuilder().frame({{{1, 1}}})); }

TEST(Open, PathsThatAreNoAnalysisFailWithTheirTexts) {
    const std::pair<const char*, const char*> cases[] = {
        {nullptr, "Analysis directory name must not be NULL."},
        {"", "Specified analysis directory does not exist."},
        {"no/such/directory", "Specified analysis directory does not exist."},
        {"a\xFFz", "Invalid UTF-8"},
        {"a\xC0\xAF", "Invalid UTF-8"},
        {"/proc/self/exe", "Specified path is not a directory."},
    };
    for (const auto& [path, text] : cases) {
        EXPECT_EQ(kova_open(path, 0), 0U);
        EXPECT_EQ(api::lastError(), text);
    }
}

std::string unset(const std::string& key) { return "DELETE FROM GlobalMetadata WHERE Key='" + key + "';"; }

std::string set(const std::string& key, const std::string& value) {
    return unset(key) + "INSERT INTO GlobalMetadata VALUES ('" + key + "', '" + value + "');";
}

std::string queryOf(const std::string& key) {
    return "SELECT Value FROM GlobalMetadata WHERE Key='" + key + "'";
}

const std::string kWrongType = "Query result has wrong type: ";
const std::string kEmpty = "Query result unexpectedly empty: ";
const std::string kNotInterpretable = " not interpretable as desired type.";
const std::string kNotSet = " not set but required.";
const std::string kTiming = "Unreasonable digitizer timing settings in global metadata.";
const std::string kMajor = "SchemaVersionMajor";
const std::string kCompression = "KovaCompressionType";
const std::string kSamples = "DigitizerNumSamples";
const std::string kFactor = "PeakListIndexScaleFactor";
const std::string kFlag = "HasLineSpectra";

struct Damage {
    std::string sql;
    std::string text;
};

TEST(Open, DamagedMetadataFailWithTheirTexts) {
    const std::string flags = set("HasLineSpectraPeakWidth", "0") + set("HasProfileSpectra", "1");
    const std::string noStatement =
        "Schema version not implemented in KvdReaderImpl::prepareFrameInfoStatement()";
    const Damage cases[] = {
        {set(kMajor, "+3") + set(kFactor, "-1"), ""},
        {set(kMajor, "4"), "KVD schema version 4.1 not supported."},
        {set(kMajor, "0"), noStatement},
        {set(kMajor, "-3"), noStatement},
        {set(kMajor, " 3"), kWrongType + queryOf(kMajor)},
        {set(kMajor, "3.0"), kWrongType + queryOf(kMajor)},
        {set(kMajor, "4294967299"), kWrongType + queryOf(kMajor)},
        {set(kMajor, ""), kWrongType + queryOf(kMajor)},
        {set(kMajor, "0x3"), kWrongType + queryOf(kMajor)},
        {unset(kMajor), kEmpty + queryOf(kMajor)},
        {"UPDATE GlobalMetadata SET Value=NULL WHERE Key='SchemaVersionMajor'",
         "Query result unexpectedly NULL: " + queryOf(kMajor)},
        {"INSERT INTO GlobalMetadata VALUES('SchemaVersionMajor','3')",
         "Query resulted in more than one result: " + queryOf(kMajor)},
        {unset("SchemaVersionMinor"), kEmpty + queryOf("SchemaVersionMinor")},
        {set(kCompression, "0"), "KovaCompressionType 0 not supported."},
        {set(kCompression, "4"), "KovaCompressionType 4 not supported."},
        {set(kCompression, "two"), kWrongType + queryOf(kCompression)},
        {set(kCompression, "3"), kEmpty + queryOf(kFlag)},
        {set(kCompression, "3") + set(kFlag, "true"), kWrongType + queryOf(kFlag)},
        {set(kCompression, "3") + set(kFlag, "1") + flags, "KovaCompressionType 3 not supported."},
        {set(kSamples, "0"), kTiming},
        {set(kFactor, "2") + set(kSamples, "2147483648"), kTiming},
        {set(kSamples, "1e5"), "Global metadatum DigitizerNumSamples" + kNotInterpretable},
        {unset(kSamples), "Global metadatum DigitizerNumSamples" + kNotSet},
        {set(kFactor, "one"), "Global metadatum PeakListIndexScaleFactor" + kNotInterpretable},
        {unset(kFactor), "Global metadatum PeakListIndexScaleFactor" + kNotSet},
        {"DROP TABLE GlobalMetadata", "no such table: GlobalMetadata"},
        {"DROP TABLE Frames", "no such table: Frames"},
        {"ALTER TABLE Frames RENAME COLUMN KovaId TO Other", "no such column: KovaId"},
    };
    for (const Damage& c : cases) {
        EXPECT_EQ(api::openError(valid().sql(c.sql)), c.text) << c.sql;
    }
}

TEST(Open, DamagedMetadataOfSpectraFailWithTheirTexts) {
    const Damage cases[] = {
        {unset(kSamples), kEmpty + queryOf(kSamples)},
        {set(kSamples, "x"), kWrongType + queryOf(kSamples)},
        {set(kSamples, "0"), kTiming},
        {set(kCompression, "2"), "KovaCompressionType 2 not supported."},
        {set(kMajor, "4"), "KVD schema version 4.1 not supported."},
        {set(kFlag, "yes"), kWrongType + queryOf(kFlag)},
        {set(kFlag, "2"), kWrongType + queryOf(kFlag)},
        {set(kFlag, "+1"), kWrongType + queryOf(kFlag)},
        {set(kFlag, "00"), kWrongType + queryOf(kFlag)},
        {"DROP TABLE MzCalibration", "Too few columns in table MzCalibration"},
    };
    for (const Damage& c : cases) {
        const TempDirectory directory;
        AnalysisBuilder().compression(3).sql(c.sql).write(directory.path());
        EXPECT_EQ(kvs_open(directory.string().c_str(), 0), 0U) << c.sql;
        EXPECT_EQ(api::lastError(kvs_get_last_error_string), c.text);
    }
}

TEST(Open, FilesThatAreNoneOrNotThereAreNamed) {
    const TempDirectory directory;
    valid().write(directory.path());
    EXPECT_EQ(kvs_open(directory.string().c_str(), 0), 0U);
    EXPECT_EQ(api::lastError(kvs_get_last_error_string), directory.string() + "/analysis.kvs doesn't exist.");
    const std::filesystem::path blob = directory / "analysis.kvd_bin";
    std::filesystem::remove(blob);
    EXPECT_EQ(api::openError(directory.string()), blob.string() + " doesn't exist.");
    std::filesystem::create_directory(blob);
    EXPECT_EQ(api::openError(directory.string()), "Can't open file: " + blob.string() + " for reading.");
    std::ofstream(directory / "analysis.kvd") << std::string(4096, 'x');
    EXPECT_EQ(api::openError(directory.string()), "file is not a database");
    std::filesystem::remove(directory / "analysis.kvd");
    EXPECT_EQ(api::openError(directory.string()), directory.string() + "/analysis.kvd doesn't exist.");
}

}  // namespace
