#include "kova-data-reader/blob/kvd_reader_cache.h"

#include <gtest/gtest.h>

#include "analysis-writer/scan_blocks.h"
#include "fixtures/counting_stream.h"
#include "fixtures/failure.h"

namespace {

using analysis_writer::Bytes;

constexpr std::uint32_t kScanLimit = 65536;

// One frame at position 16 whose "compressed" scans are any bytes of the sizes given.
class ReaderCache : public testing::Test {
protected:
    ReaderCache() {
        std::vector<Bytes> streams;
        for (const std::size_t size : {4U, 0U, 6U, kScanLimit, kScanLimit + 1, 0U, 0U}) {
            streams.emplace_back(size, static_cast<std::uint8_t>(streams.size() + 1));
        }
        analysis_writer::appendBytes(buffer.content(), analysis_writer::scanFrameBlock(streams));
    }

    std::string failureOfScan(std::uint32_t scan) {
        return fixtures::failureOf([&] { cache.fillScan(stream, 1, 16, scan); });
    }

    std::string failureOfRange(std::uint32_t begin, std::uint32_t end) {
        return fixtures::failureOf([&] { cache.fillRange(stream, 1, 16, begin, end); });
    }

    fixtures::CountingStreambuf buffer{Bytes(16, 0xAA)};
    std::istream stream{&buffer};
    lumo::io::kova::KvdReaderCache cache;
};

TEST_F(ReaderCache, RangeIsOneReadAndReplacesTheOneBefore) {
    cache.fillRange(stream, 1, 16, 0, 3);
    EXPECT_EQ(buffer.reads, 3U);  // header, offsets, scans
    EXPECT_TRUE(cache.contains(16, 0) && cache.contains(16, 2));
    EXPECT_FALSE(cache.contains(16, 3) || cache.contains(17, 0));
    cache.fillRange(stream, 1, 16, 2, 4);
    EXPECT_EQ(buffer.reads, 4U);
    EXPECT_FALSE(cache.contains(16, 1));
    EXPECT_EQ(cache.get(1, 3).first[kScanLimit - 1], std::byte{4});
    cache.fillRange(stream, 1, 16, 5, 7);
    EXPECT_EQ(buffer.reads, 4U) << "of empty scans nothing is read";
    EXPECT_EQ(cache.get(1, 6), (std::pair<const std::byte*, std::uint32_t>(nullptr, 0)));
}

TEST_F(ReaderCache, LimitsOfSizesAndRanges) {
    EXPECT_EQ(failureOfScan(3), "none");
    EXPECT_EQ(failureOfScan(4),
              "CorruptScanDataError for FrameId=1, Scan=4: Compressed scan size too large.");
    EXPECT_FALSE(cache.contains(16, 3)) << "a failure must leave nothing cached";
    EXPECT_EQ(failureOfRange(3, 5), "none");
    EXPECT_EQ(failureOfRange(3, 2), "scan_end must be >= scan_begin.");
    EXPECT_EQ(failureOfScan(0xFFFFFFFF), "scan_end must be >= scan_begin.");
    EXPECT_EQ(failureOfRange(0, 8), "Scan number out of range.");
    EXPECT_EQ(failureOfRange(7, 7), "Scan number out of range.");
}

TEST_F(ReaderCache, FailedStepsHaveTheirTextsAndARetryReadsAgain) {
    const std::string frame = "CorruptFrameDataError for FrameId=1: ";
    const std::string scan = "CorruptScanDataError for FrameId=1, Scan=0: ";
    buffer.failRead(2);
    EXPECT_EQ(failureOfScan(0), frame + "Error reading binary scan offsets.");
    buffer.failRead(3);
    EXPECT_EQ(failureOfScan(0), scan + "Error reading scan data.");
    buffer.failSeek(1);
    EXPECT_EQ(failureOfScan(0), scan + "Error seeking to scan data.");
    buffer.failSeek(1);
    EXPECT_EQ(failureOfRange(0, 3), frame + "Error seeking to scan-range data.");
    buffer.failRead(1);
    EXPECT_EQ(failureOfRange(0, 3), frame + "Error reading scan-range data.");
    EXPECT_FALSE(cache.contains(16, 0));
    EXPECT_EQ(failureOfRange(0, 3), "none");
    EXPECT_EQ(cache.get(1, 0).first[3], std::byte{1});
}

}  // namespace
