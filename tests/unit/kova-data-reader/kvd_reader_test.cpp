#include "kova-data-reader/kvd_reader.h"
#include "fixtures/failure.h"

#include <gtest/gtest.h>

#include "fixtures/analysis_builder.h"
#include "fixtures/logged_lines.h"
#include "fixtures/temp_directory.h"
#include "kova-data-reader/scan-reading/packed_scans.h"
#include "logging/backend.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::failureOf;
using lumo::io::kova::KvdReader;
using lumo::io::kova::NormalizationType;
using lumo::io::kova::PackedScanReader;

TEST(KvdReader, OperationsOfTheOtherCompressionFail) {
    const fixtures::TempDirectory scans;
    const fixtures::TempDirectory frames;
    const KvdReader byScan(AnalysisBuilder().compression(1).frame({{{1, 1}}}).write(scans.path()));
    const KvdReader byFrame(AnalysisBuilder().frame({{{1, 1}}}).write(frames.path()));
    std::uint32_t start = 0;
    std::uint32_t end = 0;
    EXPECT_EQ(failureOf([&] { byFrame.getScanBlob(1, 0); }),
              "Unexpected call to getScanBlob for analysis with frame compression");
    EXPECT_EQ(failureOf([&] { byScan.getDecompressedScanData(1, 0, start, end); }),
              "Unexpected call to getDecompressedScanData for analysis with scan compression");
    EXPECT_EQ(failureOf([&] { byFrame.hintWillReadScanRange(1, 2, 1); }), "scan_end must be >= scan_begin.");
}

TEST(PackedScanReader, UnknownNormalisationFailsBeforeTheFrameIsLookedAt) {
    const fixtures::TempDirectory directory;
    KvdReader reader(AnalysisBuilder().write(directory.path()));
    PackedScanReader ranges(reader.scans());
    EXPECT_EQ(failureOf([&] {
                  ranges.read({99, 0, 1}, static_cast<NormalizationType>(3), {});
              }),
              "decodeScanRange() : Unknown NormalizationType");
}

TEST(BinLimit, FirstDroppedIndexOfAReaderIsLoggedOnce) {
    for (const int compression : {1, 2}) {
        const auto logged = std::make_shared<fixtures::LoggedLines>();
        lumo::logging::configure({{{"lumo.io.kova.decodeUimfRle", lumo::logging::Level::Trace}}, {logged}});
        const fixtures::TempDirectory directory;
        KvdReader reader(AnalysisBuilder()
                             .compression(compression)
                             .digitizerSamples(10)
                             .frame({{{1, 1}, {12, 1}, {13, 1}}, {{11, 1}}})
                             .write(directory.path()));
        PackedScanReader ranges(reader.scans());
        std::vector<std::byte> buffer(64);
        EXPECT_THROW(ranges.read({1, 0, 3}, NormalizationType::None, {}), std::invalid_argument);
        EXPECT_EQ(logged->text().empty(), compression == 1) << "scans before the failing one were decoded";
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(ranges.read({1, 0, 2}, NormalizationType::None, buffer), 16U);
        }
        EXPECT_EQ(
            logged->text(),
            "lumo.io.kova.decodeUimfRle warning Index 12 exceeds number of bins = 10, silently dropping from "
            "now on.\n");
        lumo::logging::configure({});
    }
}

}  // namespace
