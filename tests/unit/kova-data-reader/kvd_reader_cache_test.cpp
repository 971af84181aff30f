#include "kova-data-reader/blob/kvd_reader_cache.h"

#include <gtest/gtest.h>

#include "analysis-writer/scan_blocks.h"
#include "fixtures/counting_stream.h"

namespace {

using analysis_writer::Bytes;
using lumo::io::kova::KvdReaderCache;

constexpr std::uint32_t kScanLimit = 65536;

// One frame whose "compressed" scans are any bytes of the sizes given; position 16.
Bytes fileWithScans(const std::vector<std::size_t>& sizes) {
    std::vector<Bytes> streams;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        streams.emplace_back(sizes[i], static_cast<std::uint8_t>(i + 1));
    }
    Bytes bytes = analysis_writer::scanFrameBlock(streams);
    bytes.insert(bytes.begin(), 16, 0xAA);
    return bytes;
}

class ReaderCache : public testing::Test {
protected:
    std::string failureOfScan(std::uint32_t scan) {
        try {
            cache.fillScan(stream, 1, 16, scan);
        } catch (const std::exception& e) {
            return e.what();
        }
        return "none";
    }

    std::string failureOfRange(std::uint32_t begin, std::uint32_t end) {
        try {
            cache.fillRange(stream, 1, 16, begin, end);
        } catch (const std::exception& e) {
            return e.what();
        }
        return "none";
    }

    fixtures::CountingStreambuf buffer{fileWithScans({4, 0, 6, kScanLimit, kScanLimit + 1, 0, 0})};
    std::istream stream{&buffer};
    KvdReaderCache cache;
};

TEST_F(ReaderCache, RangeIsOneReadAndReplacesTheOneBefore) {
    cache.fillRange(stream, 1, 16, 0, 3);
    EXPECT_EQ(buffer.reads, 3U);  // header, offsets, scans
    EXPECT_TRUE(cache.contains(16, 0) && cache.contains(16, 2));
    EXPECT_FALSE(cache.contains(16, 3) || cache.contains(17, 0));
    EXPECT_EQ(cache.get(1, 1), (std::pair<const std::byte*, std::uint32_t>(nullptr, 0)));
    const auto [bytes, size] = cache.get(1, 2);
    EXPECT_EQ(size, 6U);
    EXPECT_EQ(bytes[0], std::byte{3});
    cache.fillRange(stream, 1, 16, 2, 4);
    EXPECT_EQ(buffer.reads, 4U);
    EXPECT_FALSE(cache.contains(16, 1));
    EXPECT_EQ(cache.get(1, 3).first[kScanLimit - 1], std::byte{4});
}

TEST_F(ReaderCache, EmptyRangesReadOnlyTheHeader) {
    cache.fillRange(stream, 1, 16, 2, 2);
    EXPECT_EQ(buffer.reads, 2U);
    EXPECT_FALSE(cache.contains(16, 2));
    cache.fillRange(stream, 1, 16, 5, 7);
    cache.fillScan(stream, 1, 16, 1);
    EXPECT_EQ(buffer.reads, 2U);
    EXPECT_EQ(cache.get(1, 6).second, 0U);
}

TEST_F(ReaderCache, SizeLimitIsForSingleScansOnly) {
    EXPECT_EQ(failureOfScan(3), "none");
    EXPECT_EQ(failureOfScan(4),
              "CorruptScanDataError for FrameId=1, Scan=4: Compressed scan size too large.");
    EXPECT_FALSE(cache.contains(16, 3)) << "a failure must leave nothing cached";
    EXPECT_EQ(failureOfRange(3, 5), "none");
    EXPECT_EQ(cache.get(1, 4).second, kScanLimit + 1);
}

TEST_F(ReaderCache, RangesOutOfOrderOrBounds) {
    EXPECT_EQ(failureOfRange(3, 2), "scan_end must be >= scan_begin.");
    EXPECT_EQ(failureOfScan(0xFFFFFFFF), "scan_end must be >= scan_begin.");
    EXPECT_EQ(failureOfRange(0, 8), "Scan number out of range.");
    EXPECT_EQ(failureOfRange(7, 7), "Scan number out of range.");
}

TEST_F(ReaderCache, FailedStepsHaveTheirTextsAndARetryReadsAgain) {
    buffer.failSeek(1);
    EXPECT_EQ(failureOfScan(0),
              "CorruptFrameDataError for FrameId=1: Can't seek to binary header. Current position: -1. Error "
              "flags: good: "
              "0, eof 0, fail 1, bad 0");
    buffer.failRead(1);
    EXPECT_EQ(failureOfScan(0), "CorruptFrameDataError for FrameId=1: Error reading 8-byte binary header.");
    buffer.failRead(2);
    EXPECT_EQ(failureOfScan(0), "CorruptFrameDataError for FrameId=1: Error reading binary scan offsets.");
    buffer.failRead(3);
    EXPECT_EQ(failureOfScan(0), "CorruptScanDataError for FrameId=1, Scan=0: Error reading scan data.");
    buffer.failSeek(1);
    EXPECT_EQ(failureOfScan(0), "CorruptScanDataError for FrameId=1, Scan=0: Error seeking to scan data.");
    buffer.failSeek(1);
    EXPECT_EQ(failureOfRange(0, 3), "CorruptFrameDataError for FrameId=1: Error seeking to scan-range data.");
    buffer.failRead(1);
    EXPECT_EQ(failureOfRange(0, 3), "CorruptFrameDataError for FrameId=1: Error reading scan-range data.");
    EXPECT_FALSE(cache.contains(16, 0));
    EXPECT_EQ(failureOfRange(0, 3), "none");
    EXPECT_EQ(cache.get(1, 0).first[3], std::byte{1});
}

}  // namespace
