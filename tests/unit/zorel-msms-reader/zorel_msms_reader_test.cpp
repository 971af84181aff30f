#include "fixtures/failure.h"
#include "zorel-msms-reader/zorel-msms-reader.h"

#include <cmath>
#include <stdexcept>

#include <gtest/gtest.h>

#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "reference/plain_peak_finder.h"

namespace {

using fixtures::AnalysisBuilder;
using fixtures::failureOf;
using fixtures::TempDirectory;
using lumo::io::algorithms::ClosedInterval;
using lumo::io::algorithms::ZorelMsmsSpectraReader;
using lumo::io::kova::KvdReader;

constexpr double kSlope = 15000.0;

// Parents at 10.5 s and 20.5 s with one precursor each; MS/MS frames 3 to 5, of which 1 is measured in the
// first two and 2 in the last two.
class ZorelReader : public testing::Test {
protected:
    ZorelReader() : analysis(build().write(directory.path())) {}

    static AnalysisBuilder build() {
        AnalysisBuilder builder;
        builder.schema(1).frame({}, {.id = 1, .time = 10.5}).frame({}, {.id = 2, .time = 20.5});
        for (std::int64_t id = 3; id <= 5; ++id) {
            builder.frame({{{5000, 8}, {5001, 20}, {5002, 12}}, {{7000, 3}, {7001, 4}}},
                          {.id = id, .time = 100.0});
        }
        builder.precursor({.id = 1, .parent = 1}).precursor({.id = 2, .parent = 2});
        return builder.zorelMsMs(3, 1, 0, 1)
            .zorelMsMs(4, 1, 0, 1)
            .zorelMsMs(4, 2, 0, 2)
            .zorelMsMs(5, 2, 0, 2);
    }

    static std::vector<std::int64_t> extractedIds(ZorelMsmsSpectraReader& reader) {
        std::vector<std::int64_t> ids;
        reader.extractPrecursorProfile([&](std::int64_t id, auto&&) { ids.push_back(id); });
        return ids;
    }

    using Ids = std::vector<std::int64_t>;
    TempDirectory directory;
    KvdReader analysis;
};

TEST_F(ZorelReader, PreparesWhatIsSelectedAndForgetsWhatIsHandedOver) {
    struct Case {
        ZorelMsmsSpectraReader reader;
        Ids expected;
    };
    using Times = ClosedInterval<double>;
    Case cases[] = {
        {{analysis, kSlope}, {1, 2}},
        {{analysis, Ids{2, 9}, kSlope}, {2}},
        {{analysis, Ids{}, kSlope}, {}},
        {{analysis, Times{10.5, 20.5}, kSlope}, {1, 2}},  // ends included
        {{analysis, Times{10.5, 20.4999}, kSlope}, {1}},
        {{analysis, Times{20.4999999, 30.0}, kSlope}, {2}},  // six digits
        {{analysis, Times{50, 200}, kSlope}, {}},
        {{analysis, Times{-1.7e308, 1.7e308}, kSlope}, {1, 2}},  // the longest text
    };
    for (Case& c : cases) {
        EXPECT_EQ(c.reader.precursorCount(), c.expected.size());
        EXPECT_EQ(extractedIds(c.reader), c.expected);
        EXPECT_EQ(c.reader.precursorCount(), 0U);
        EXPECT_EQ(extractedIds(c.reader), Ids{});
    }
    EXPECT_EQ(failureOf([&] {
                  ZorelMsmsSpectraReader(analysis, Times{0, HUGE_VAL}, kSlope);
              }),
              "no such column: inf");
}

TEST_F(ZorelReader, LineSpectraHoldAreasAndTheWidthsFollowTheSlope) {
    std::vector<int> profile(7101);
    profile[5000] = 16;
    profile[5001] = 40;
    profile[5002] = 24;
    profile[7000] = 6;
    profile[7001] = 8;
    const auto trafo = analysis.getMzTrafo(2, KvdReader::Compensation::On);
    using lumo::io::algorithms::PeakAreas;
    for (const auto& [slope, request] :
         {std::pair{15000.0, PeakAreas::Compute}, {6000.0, PeakAreas::LeaveOut}}) {
        const reference::Peaks expected = reference::findPeaks(profile, {300, 24000, 0.2, slope});
        ZorelMsmsSpectraReader reader(analysis, Ids{2}, slope);
        const auto check = [&](std::int64_t id, std::vector<double>&& mz, std::vector<float>&& intensities,
                               std::vector<float>&& areas) {
            EXPECT_EQ(id, 2);
            ASSERT_EQ(mz.size(), 2U);
            EXPECT_EQ(mz[0], trafo->DIndexToMass(expected.positions[0]));
            EXPECT_EQ(intensities, expected.intensities);
            EXPECT_EQ(areas, request == PeakAreas::Compute ? expected.areas : std::vector<float>{});
        };
        reader.extractPrecursorSpectra(check, request);
        EXPECT_EQ(reader.precursorCount(), 0U);
    }
}

TEST_F(ZorelReader, AfterAFailureTheOthersStartAnew) {
    ZorelMsmsSpectraReader reader(analysis, kSlope);
    const auto failAt = [&](std::int64_t failing) {
        return failureOf([&] {
            reader.extractPrecursorProfile([&](std::int64_t id, std::vector<std::int32_t>&& profile) {
                EXPECT_EQ(profile.at(5001), 40) << "two frames, whatever was added before the failure";
                if (id == failing) {
                    throw std::runtime_error("stop");
                }
            });
        });
    };
    EXPECT_EQ(failAt(1), "stop");
    EXPECT_EQ(reader.precursorCount(), 2U);
    EXPECT_EQ(failAt(2), "stop");
    EXPECT_EQ(reader.precursorCount(), 1U);
    EXPECT_EQ(failAt(0), "none");
    EXPECT_EQ(reader.precursorCount(), 0U);
}

// Its frames are listed once for each parent: all passes count but a second one over the last frame.
TEST(ZorelReaderOrder, PrecursorUnderTwoParentsIsCompleteAfterItsLastFrame) {
    const TempDirectory directory;
    KvdReader analysis(AnalysisBuilder()
                           .schema(1)
                           .frame({{{50, 1}}})
                           .frame({{{50, 2}}})
                           .frame({{{50, 4}}})
                           .sql("DROP TABLE Precursors")
                           .sql("CREATE TABLE Precursors (Id INTEGER, Parent INTEGER, ScanNumber REAL)")
                           .sql("INSERT INTO Precursors VALUES (1,1,0),(1,2,0)")
                           .zorelMsMs(2, 1, 0, 1)
                           .zorelMsMs(3, 1, 0, 1)
                           .write(directory.path()));
    ZorelMsmsSpectraReader reader(analysis, kSlope);
    std::vector<std::int32_t> sums;
    reader.extractPrecursorProfile(
        [&](std::int64_t, std::vector<std::int32_t>&& profile) { sums.push_back(profile.at(50)); });
    EXPECT_EQ(sums, std::vector<std::int32_t>{8});
}

}  // namespace
