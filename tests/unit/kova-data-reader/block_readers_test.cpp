// How often the readers of blocks read, and what remains of one that fails in the middle.
#include <functional>
#include <sstream>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "analysis-writer/scan_blocks.h"
#include "analysis-writer/spectrum_block.h"
#include "fixtures/failure.h"
#include "kova-data-reader/blob/kvd_frame_reader.h"
#include "kova-data-reader/blob/kvd_reader_cache.h"
#include "kova-data-reader/blob/kvs_spectra_reader.h"

namespace {

using analysis_writer::Bytes;
using fixtures::failureOf;

// A file in memory that counts how it is used and fails on request. Asking for the position is no seek.
class CountingFile : public std::stringbuf {
public:
    explicit CountingFile(const std::string& content) : std::stringbuf(content, std::ios::in) {}

    std::size_t reads = 0;
    std::size_t seeks = 0;
    std::size_t failingRead = 0;  // the call that fails, by its number
    std::size_t failingSeek = 0;

protected:
    std::streamsize xsgetn(char* target, std::streamsize count) override {
        return ++reads == failingRead ? 0 : std::stringbuf::xsgetn(target, count);
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode which) override {
        const bool asks = offset == 0 && way == std::ios_base::cur;
        return !asks && ++seeks == failingSeek ? pos_type(-1) : std::stringbuf::seekoff(offset, way, which);
    }
    pos_type seekpos(pos_type target, std::ios_base::openmode which) override {
        return ++seeks == failingSeek ? pos_type(-1) : std::stringbuf::seekpos(target, which);
    }
};

std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

class BlockReader : public testing::Test {
protected:
    void put(const std::string& blocks) { file = CountingFile(blocks); }

    // Of a call whose n-th read or seek fails; 0 means none.
    std::string failureAt(std::size_t read, std::size_t seek, const std::function<void()>& call) {
        file.failingRead = read == 0 ? 0 : file.reads + read;
        file.failingSeek = seek == 0 ? 0 : file.seeks + seek;
        std::string text = failureOf(call);
        file.failingRead = file.failingSeek = 0;
        return text;
    }

    CountingFile file{""};
    std::istream stream{&file};
    const std::string inFrame = "CorruptFrameDataError for FrameId=1: ";
    const std::string inScan = "CorruptScanDataError for FrameId=1, Scan=0: ";
    const std::string flags = " Current position: -1. Error flags: good: 0, eof 0, fail 1, bad 0";
};

TEST_F(BlockReader, FrameIsReadOnceUntilAnotherIsAskedForOrAFailure) {
    const Bytes block = analysis_writer::frameBlock({{{4, 40}}, {}, {{7, 70}, {9, 90}}});
    put(textOf(block) + textOf(block));
    const auto second = static_cast<std::int64_t>(block.size());
    lumo::io::kova::KvdFrameReader reader;
    EXPECT_EQ(reader.readNumberOfScans(stream, 1, 0), 3U);
    file.reads = 0;
    reader.fill(stream, 1, 0);
    reader.fill(stream, 1, 0);
    EXPECT_EQ(file.reads, 1U);  // the payload; the header was seen
    const std::tuple<std::size_t, std::size_t, std::string> steps[] = {
        {1, 0, "Error reading binary header."},
        {2, 0, "Error reading frame data."},
        {0, 1, "Can't seek to binary header." + flags},
        {0, 2, "Error seeking to frame data."},
    };
    for (const auto& [read, seek, text] : steps) {
        reader.fill(stream, 2, second);
        EXPECT_EQ(failureAt(read, seek, [&] { reader.fill(stream, 1, 0); }), inFrame + text);
        const std::size_t before = file.reads;
        reader.fill(stream, 2, second);
        EXPECT_EQ(file.reads, before + 2) << "the frame before the failure counted as loaded";
        EXPECT_EQ(reader.numberOfScans(), 3U);
    }
    reader.fill(stream, 3, -1);
    EXPECT_EQ(reader.numberOfScans(), 0U);
}

TEST_F(BlockReader, RangeOfScansIsOneReadAndReplacesTheOneBefore) {
    constexpr std::uint32_t kScanLimit = 65536;
    std::vector<Bytes> streams;
    for (const std::size_t size : {4U, 0U, 6U, kScanLimit, kScanLimit + 1, 0U, 0U}) {
        streams.emplace_back(size, static_cast<std::uint8_t>(streams.size() + 1));
    }
    put(std::string(16, '\xAA') + textOf(analysis_writer::scanFrameBlock(streams)));
    lumo::io::kova::KvdReaderCache cache;
    const auto range = [&](std::uint32_t begin, std::uint32_t end) {
        return [&cache, this, begin, end] { cache.fillRange(stream, 1, 16, begin, end); };
    };
    const auto scan = [&](std::uint32_t number) {
        return [&cache, this, number] { cache.fillScan(stream, 1, 16, number); };
    };
    EXPECT_EQ(failureAt(2, 0, scan(0)), inFrame + "Error reading binary scan offsets.");
    EXPECT_EQ(failureAt(3, 0, scan(0)), inScan + "Error reading scan data.");
    EXPECT_EQ(failureAt(0, 1, scan(0)), inScan + "Error seeking to scan data.");
    EXPECT_EQ(failureAt(0, 1, range(0, 3)), inFrame + "Error seeking to scan-range data.");
    EXPECT_EQ(failureAt(1, 0, range(0, 3)), inFrame + "Error reading scan-range data.");
    EXPECT_FALSE(cache.contains(16, 0));
    const std::size_t before = file.reads;
    range(0, 3)();
    EXPECT_TRUE(cache.contains(16, 0) && cache.contains(16, 2));
    EXPECT_FALSE(cache.contains(16, 3) || cache.contains(17, 0));
    range(2, 4)();
    EXPECT_FALSE(cache.contains(16, 1));
    EXPECT_EQ(cache.get(1, 3).first[kScanLimit - 1], std::byte{4});
    range(5, 7)();
    EXPECT_EQ(file.reads, before + 2) << "of empty scans nothing is read";
    EXPECT_EQ(cache.get(1, 6), (std::pair<const std::byte*, std::uint32_t>(nullptr, 0)));
    scan(3)();
    EXPECT_EQ(failureOf(scan(4)),
              "CorruptScanDataError for FrameId=1, Scan=4: Compressed scan size too large.");
    EXPECT_FALSE(cache.contains(16, 3)) << "a failure must leave nothing cached";
    EXPECT_EQ(failureOf(range(3, 2)), "scan_end must be >= scan_begin.");
    EXPECT_EQ(failureOf(scan(0xFFFFFFFF)), "scan_end must be >= scan_begin.");
    EXPECT_EQ(failureOf(range(0, 8)), "Scan number out of range.");
    EXPECT_EQ(failureOf(range(7, 7)), "Scan number out of range.");
}

TEST_F(BlockReader, LinesThenProfileReadTheHeaderOnceAndFailuresLeaveNothingLoaded) {
    put(textOf(analysis_writer::spectrumBlock({{{1.0, 2.0}, {3.0F, 4.0F}, {5.0F, 6.0F}}, {7, 8, 9}})));
    lumo::io::kova::KvsSpectraReader reader({true, true, true});
    const auto lines = [&] { reader.fillLineSpectrum(stream, 1, 0); };
    const auto profile = [&] { reader.fillProfileSpectrum(stream, 1, 0); };
    const auto view = [&] { reader.viewLineSpectrum(2, lumo::io::kova::LineWidths::LeaveOut); };
    const std::string noLines = "Invalid call to getLineSpectrum(), line spectrum not read";
    EXPECT_EQ(failureAt(0, 1, lines), inFrame + "Can't seek to binary header." + flags);
    EXPECT_EQ(failureOf(view), noLines);
    lines();
    EXPECT_EQ(failureOf([&] { reader.numberOfProfilePoints(); }),
              "Invalid call to getProfileSpectrum(), profile spectrum not read");
    const std::size_t seeks = file.seeks;
    const std::size_t reads = file.reads;
    for (int i = 0; i < 2; ++i) {
        profile();
        lines();
    }
    EXPECT_EQ(file.reads, reads + 1);
    EXPECT_EQ(file.seeks, seeks);
    reader.fillLineSpectrum(stream, 2, -1);
    EXPECT_EQ(failureAt(3, 0, [&] { lines(), profile(); }), inFrame + "Error reading frame data.");
    EXPECT_EQ(failureOf(view), noLines);
    EXPECT_EQ(failureAt(0, 3, profile), inFrame + "Can't seek to profile block start." + flags);
    profile();
    EXPECT_EQ(reader.numberOfProfilePoints(), 3U);
    EXPECT_EQ(failureAt(0, 1, lines), inFrame + "Can't seek to profile block start." + flags);
    lines();
    EXPECT_EQ(reader.viewLineSpectrum(2, lumo::io::kova::LineWidths::LeaveOut).peaks, 2U);
}

}  // namespace
