// Counts and checksums that any correct reader gives for the measured analyses, which lie beside the
// repository.
#include <filesystem>
#include <fstream>
#include <numeric>

#include <gtest/gtest.h>
#include <zlib.h>
#include <nlohmann/json.hpp>

#include "api/analysis.h"

namespace {

const std::filesystem::path kAnalyses = KOVADATA_MEASURED_ANALYSES;

class MeasuredData : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(kAnalyses / "manifest.json")) {
            GTEST_SKIP() << "no measured analyses in " << kAnalyses;
        }
        manifest = nlohmann::json::parse(std::ifstream(kAnalyses / "manifest.json")).at(GetParam());
    }

    nlohmann::json manifest;
};

TEST_P(MeasuredData, RawScansHaveTheirCountsAndChecksum) {
    const api::Analysis analysis(kAnalyses / GetParam());
    ASSERT_TRUE(analysis) << api::lastError();
    uLong checksum = crc32(0, nullptr, 0);
    for (const auto& frame : manifest.at("frames")) {
        const auto scans = frame.at("scans").get<std::uint32_t>();
        const api::ScanResult result = analysis.readRaw(frame.at("id").get<std::int64_t>(), 0, scans);
        EXPECT_EQ(result.bytesNeeded, frame.at("result_bytes").get<std::uint32_t>());
        checksum = crc32(checksum, reinterpret_cast<const Bytef*>(result.words.data()),
                         static_cast<uInt>(4 * result.words.size()));
        std::uint64_t peaks = 0;
        std::uint64_t sum = 0;
        for (const auto& scan : result.peaks(scans)) {
            peaks += scan.size();
            for (const auto& peak : scan) {
                sum += peak.intensity;
            }
        }
        EXPECT_EQ(peaks, frame.at("peaks").get<std::uint64_t>());
        EXPECT_EQ(sum, frame.at("intensity_sum").get<std::uint64_t>());
    }
    EXPECT_EQ(checksum, manifest.at("crc32_raw").get<uLong>());
}

TEST_P(MeasuredData, ScanByScanGivesTheSamePeaksAsTheWholeFrame) {
    const api::Analysis analysis(kAnalyses / GetParam());
    const auto& first = manifest.at("frames").at(0);
    const auto id = first.at("id").get<std::int64_t>();
    const auto scans = first.at("scans").get<std::uint32_t>();
    const auto whole = analysis.readNormalised(id, 0, scans).peaks(scans);
    for (std::uint32_t scan = 0; scan < scans; ++scan) {
        ASSERT_EQ(analysis.readNormalised(id, scan, scan + 1).peaks(1).front(), whole[scan]) << scan;
    }
}

INSTANTIATE_TEST_SUITE_P(Analyses, MeasuredData, testing::Values("peptides_scheme1", "lcms_scheme2"),
                         [](const auto& each) { return std::string(each.param); });

}  // namespace
