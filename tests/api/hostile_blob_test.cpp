#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "analysis-writer/lzf_stream.h"
#include "analysis-writer/scan_blocks.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/every_call.h"
#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"

namespace {

using analysis_writer::Bytes;
using analysis_writer::Frame;
using analysis_writer::scanFrameHeader;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

const Frame kGood = {{{1, 2}}, {}, {{3, 4}, {5, 6}}};

std::string inFrame(const std::string& text) { return "CorruptFrameDataError for FrameId=1: " + text; }
std::string inScan(int scan, const std::string& text) {
    return "CorruptScanDataError for FrameId=1, Scan=" + std::to_string(scan) + ": " + text;
}
std::string inZstd(const std::string& text) { return inFrame("Error decompressing frame data: " + text); }
std::string outside(int scan) { return inScan(scan, "Scan data lie outside the data of the frame."); }
std::string odd(int scan) { return inScan(scan, "number of decompressed entries not an even number."); }

struct HostileBlock {
    const char* name;
    Bytes block;
    std::string text;
    std::uint32_t scans = 1;  // that are read
};

void expectFailures(int compression, const std::vector<HostileBlock>& cases) {
    for (const HostileBlock& c : cases) {
        SCOPED_TRACE(c.name);
        const TempDirectory directory;
        const api::Analysis analysis(AnalysisBuilder()
                                         .compression(compression)
                                         .frame(kGood, {.id = 2})
                                         .rawBlock(c.block, {.id = 1})
                                         .write(directory.path()));
        for (int attempt = 0; attempt < 2; ++attempt) {
            EXPECT_EQ(analysis.errorOf(1, 0, c.scans), c.text);
            EXPECT_EQ(analysis.readRaw(2, 0, 3).peaks(3), kGood) << "the handle stays usable";
        }
        EXPECT_NO_THROW(fixtures::makeEveryRunCall(directory.path(), {}));
    }
}

Bytes words(std::vector<std::uint32_t> values, std::uint32_t scans) {
    return analysis_writer::wordsBlock(values, scans);
}

Bytes claiming(analysis_writer::BlockOverrides overrides) {
    return analysis_writer::frameBlock(kGood, {.overrides = overrides});
}

// A zstd frame header that claims so much content, and then nothing of the kind.
Bytes claimingContent(std::uint64_t size) {
    Bytes payload = {0x28, 0xB5, 0x2F, 0xFD, 0xE0};
    for (int i = 0; i < 8; ++i) {
        payload.push_back(static_cast<std::uint8_t>(size >> 8 * i));
    }
    payload.insert(payload.end(), {1, 0, 0});
    return analysis_writer::block(3, payload);
}

TEST(HostileBlob, FramesCompressedAsAWhole) {
    const Bytes noSize =
        analysis_writer::frameBlock(kGood, {.contentSize = analysis_writer::ContentSize::omitted});
    const Bytes noZstd = analysis_writer::block(1, Bytes{1, 2, 3, 4, 5, 6, 7, 8});
    const std::string scans = "Found invalid number of scans for frame, expected ";
    const std::string impossible = " is impossible for 16 compressed bytes";
    const std::vector<HostileBlock> cases = {
        {"HeaderCutShort", {1, 2, 3}, inFrame("Error reading binary header.")},
        {"BlockOfZeros", Bytes(8), inFrame("Error reading frame data.")},
        {"BlockSizeSeven", claiming({.blockSize = 7}), inFrame("Error reading frame data.")},
        {"BlockSizeAtLimit", claiming({.blockSize = 0x40000000}), inFrame("Error reading frame data.")},
        {"BlockSizeAboveLimit", claiming({.blockSize = 0x40000001}),
         inFrame("Compressed scan size too large.")},
        {"PayloadCutShort", claiming({.blockSize = 2000}), inFrame("Error reading frame data.")},
        {"PayloadNoZstd", noZstd, inZstd("Unspecified error code")},
        {"NoContentSize", noSize, inZstd("Error (generic)")},
        {"ContentSizeAbove4GiB", claimingContent(8589934592), inZstd("content size 8589934592" + impossible)},
        {"ContentSizeAbsurd", claimingContent(2147483648), inZstd("content size 2147483648" + impossible)},
        {"MoreScansThanWords", claiming({.secondEntry = 0xFFFFFFFF}),
         inFrame(scans + "[4294967295] got [9]")},
        {"ScansWithoutWords", words({}, 1), inFrame(scans + "[1] got [0]")},
        {"OddScan", words({2, 3, 1, 1, 1}, 2), odd(0)},
        {"OddLastScan", words({2, 2, 1, 1, 1}, 2), odd(1), 2},
        {"StartsBeyondTheEnd", words({9, 0, 1, 1}, 2), outside(0)},
        {"ScanBeyondTheEnd", words({2, 6, 1, 1}, 2), outside(0)},
        {"StartsRunBackwards", words({4, 0xFFFFFFFE, 1, 1}, 2), outside(0)},
        {"EmptyFrameHasAllItsScans", analysis_writer::emptyFrameBlock(5), "Scan number [5] out of range.", 6},
        {"EmptyFrameOfBillions", analysis_writer::emptyFrameBlock(0x30000000),
         "Scan number [805306368] out of range.", 0x30000001},
    };
    expectFailures(2, cases);
}

// A header for three scans with these offsets, and 16 bytes of data after it.
Bytes withOffsets(std::vector<std::uint32_t> offsets) {
    Bytes block = scanFrameHeader(0, 3, offsets);
    block.insert(block.end(), 16, 0);
    return block;
}

Bytes oneStream(Bytes stream) {
    return analysis_writer::scanFrameBlock(std::vector<Bytes>{std::move(stream)});
}

Bytes bomb(std::size_t bytes) { return oneStream(analysis_writer::lzfStream(Bytes(bytes, 0))); }

TEST(HostileBlob, ScansCompressedOneByOne) {
    const Bytes fiveBytes = oneStream(analysis_writer::lzfLiteralStream(Bytes{1, 2, 3, 4, 5}));
    const std::string tooLarge = inFrame("Compressed scan-range size too large.");
    const std::vector<HostileBlock> cases = {
        {"ScanHeaderCutShort", {1, 2, 3}, inFrame("Error reading 8-byte binary header.")},
        {"TooManyScans", scanFrameHeader(0, 131073, {}), inFrame("Maximum number of scans exceeded.")},
        {"OffsetsCutShort", scanFrameHeader(0, 131072, std::vector{24U, 24U}),
         inFrame("Error reading binary scan offsets.")},
        {"OffsetsRunBackwards", withOffsets({24, 40, 24, 40}),
         inScan(1, "Scan data lie outside the data of the scan range."), 3},
        {"LastScanBeforeFirst", withOffsets({24, 40, 10, 12}), tooLarge, 3},
        {"RangeTooLarge", withOffsets({0, 1, 2, 0x40000001}), tooLarge, 3},
        {"RangeBeyondTheFile", withOffsets({24, 24, 24, 5000}), inFrame("Error reading scan-range data."), 3},
        {"CorruptStream", oneStream({0xE0, 0xFF, 0xFF, 0x01}), inScan(0, "Corrupt LZF input stream.")},
        {"CorruptStreamAfterAGoodOne",
         analysis_writer::scanFrameBlock(std::vector<Bytes>{
             analysis_writer::lzfLiteralStream(Bytes{1, 0, 0, 0}), {0xE0, 0xFF, 0xFF, 0x01}}),
         inScan(1, "Corrupt LZF input stream."), 2},
        {"OddNumberOfBytes", fiveBytes, inScan(0, "LZF-decompressed size not a multiple of 4.")},
        {"DecompressesBeyondTheLimit", bomb(0x400004),
         inScan(0, "Maximum decompression-buffer size exceeded.")},
    };
    expectFailures(1, cases);
}

TEST(HostileBlob, ScanOfTheGreatestDecompressedSizeIsRead) {
    const TempDirectory directory;
    const api::Analysis analysis(AnalysisBuilder()
                                     .compression(1)
                                     .digitizerSamples(0x200000)
                                     .rawBlock(bomb(0x400000))
                                     .write(directory.path()));
    EXPECT_EQ(analysis.readRaw(1, 0, 1).words.at(0), 0x100000U);
}

TEST(HostileBlob, OtherScansOfADamagedTableStayReadable) {
    const TempDirectory directory;
    const Bytes backwards = words({3, 0xFFFFFFFF, 2, 1, 8}, 3);  // scan 0 ends before it begins
    const api::Analysis analysis(AnalysisBuilder().rawBlock(backwards).write(directory.path()));
    EXPECT_EQ(analysis.errorOf(1, 0, 1), outside(0));
    EXPECT_EQ(analysis.readRaw(1, 1, 2).peaks(1), (Frame{{{1, 1}}}));

    const TempDirectory scanWise;
    const Bytes block = withOffsets({24, 40, 24, 24});
    const api::Analysis lzf(AnalysisBuilder().compression(1).rawBlock(block).write(scanWise.path()));
    EXPECT_EQ(lzf.errorOf(1, 1, 2), inFrame("Compressed scan-range size too large."));
    EXPECT_EQ(lzf.readRaw(1, 2, 3).peaks(1), Frame(1));
}

// Negative ones mean that there are no data; what is beyond the file system's reach is for it to say.
TEST(HostileBlob, PositionsWithoutAFrame) {
    const std::string header = inFrame("Error reading binary header.");
    const std::string scanHeader = inFrame("Error reading 8-byte binary header.");
    const std::string none = "Scan number [0] out of range.";
    const std::string seek = inFrame(
        "Can't seek to binary header. Current position: -1. Error flags: good: 0, eof 0, fail 1, bad 0");
    const std::tuple<std::int64_t, std::string, std::string> cases[] = {
        {-1, none, "Scan number out of range."},
        {-2, none, seek},
        {INT64_MIN, none, seek},
        {std::int64_t{1} << 20, header, scanHeader},
        {INT64_MAX - 7, header, scanHeader},
        {INT64_MAX, header, scanHeader},
    };
    for (const auto& [position, ofFrames, ofScans] : cases) {
        for (const int compression : {1, 2}) {
            const TempDirectory directory;
            const api::Analysis analysis(AnalysisBuilder()
                                             .compression(compression)
                                             .frameAt(position)
                                             .frame(kGood)
                                             .write(directory.path()));
            std::ifstream blob(directory / "analysis.kvd_bin");
            const bool isRefused = position > 0 && !blob.seekg(position).good();
            const std::string& text = isRefused ? seek : compression == 1 ? ofScans : ofFrames;
            for (int attempt = 0; attempt < 2; ++attempt) {
                EXPECT_EQ(analysis.errorOf(1, 0, 1), text) << position;
                EXPECT_EQ(analysis.readRaw(2, 0, 3).peaks(3), kGood);
            }
        }
    }
}

TEST(HostileBlob, NumbersOfFramesMayHaveAnyTypeAsLongAsTheyAreExact) {
    const TempDirectory directory;
    const api::Analysis analysis(
        AnalysisBuilder()
            .frame(kGood)
            .sql("ALTER TABLE Frames RENAME TO Other")
            .sql("CREATE TABLE Frames (Id, KovaId, AccumulationTime, RampTime)")
            .sql("INSERT INTO Frames VALUES (4, 'sixteen', 1, 1), (5, 16.5, 1, 1), (6, x'10', 1, 1), "
                 "(7, 16, 'long', 1), (8, '16', 1, x'00'), (9, 1e300, 1, 1), (10, 16, 1, ' 1'), (11, 16, "
                 "'inf', 1)")
            .sql("INSERT INTO Frames SELECT 12, CAST(KovaId AS TEXT), 50, '+1e2' FROM Other")
            .sql("INSERT INTO Frames SELECT 13, CAST(KovaId AS REAL), '0.5', 1 FROM Other")
            .write(directory.path()));
    ASSERT_TRUE(analysis) << api::lastError();
    for (const auto& [column, ids] : {std::pair("KovaId is not an integer", std::vector{4, 5, 6, 9}),
                                      std::pair("AccumulationTime is not a number", std::vector{7, 11}),
                                      std::pair("RampTime is not a number", std::vector{8, 10})}) {
        for (const int id : ids) {
            EXPECT_EQ(analysis.errorOf(id, 0, 1),
                      "CorruptFrameDataError for FrameId=" + std::to_string(id) + ": " + column);
        }
    }
    EXPECT_EQ(analysis.readRaw(12, 0, 3).peaks(3), kGood);
    EXPECT_EQ(analysis.readRaw(13, 0, 3).peaks(3), kGood);
}

TEST(GrowingAnalysis, FramesWrittenAfterOpeningAreRead) {
    const TempDirectory directory;
    const api::Analysis analysis(AnalysisBuilder().frame(kGood).write(directory.path()));
    EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), kGood);
    EXPECT_EQ(analysis.errorOf(2, 0, 1), "CorruptFrameDataError for FrameId=2: Frame doesn't exist");
    const std::filesystem::path blob = directory / "analysis.kvd_bin";
    const auto position = std::to_string(std::filesystem::file_size(blob));
    const Bytes block = analysis_writer::frameBlock(kGood);
    std::ofstream(blob, std::ios::app | std::ios::binary) << std::string(block.begin(), block.end());
    EXPECT_EQ(fixtures::WriterProcess(directory / "analysis.kvd")
                  .execute("INSERT INTO Frames (Id, KovaId) VALUES (2, " + position + ")"),
              "");
    EXPECT_EQ(analysis.readRaw(2, 0, 3).peaks(3), kGood);
}

}  // namespace
