#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "analysis-writer/byte_shuffle.h"
#include "analysis-writer/frame_block.h"
#include "analysis-writer/lzf_stream.h"
#include "analysis-writer/scan_blocks.h"
#include "analysis-writer/zstd_frame.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"

namespace {

using analysis_writer::Bytes;
using analysis_writer::Frame;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

const Frame kGood = {{{1, 2}}, {}, {{3, 4}, {5, 6}}};

std::string frameError(const std::string& text) { return "CorruptFrameDataError for FrameId=1: " + text; }
std::string scanError(int scan, const std::string& text) {
    return "CorruptScanDataError for FrameId=1, Scan=" + std::to_string(scan) + ": " + text;
}

Bytes words(std::vector<std::uint32_t> values, std::uint32_t scans) {
    return analysis_writer::wordsBlock(values, scans);
}

Bytes claiming(analysis_writer::BlockOverrides overrides) {
    return analysis_writer::frameBlock(kGood, {.overrides = overrides});
}

Bytes streams(std::vector<Bytes> scans) { return analysis_writer::scanFrameBlock(scans); }

// Frame 1 is the block given, frame 2 a good one. `text` is what reading scans [begin, end) of frame 1 gives.
struct BlockCase {
    const char* name;
    int compression;
    Bytes block;
    std::uint32_t begin;
    std::uint32_t end;
    std::string text;
};

class HostileBlock : public testing::TestWithParam<BlockCase> {};

TEST_P(HostileBlock, FailsWithTextAndLeavesTheHandleUsable) {
    const BlockCase& c = GetParam();
    const TempDirectory directory;
    const api::Analysis analysis(AnalysisBuilder()
                                     .compression(c.compression)
                                     .frame(kGood, {.id = 2})
                                     .rawBlock(c.block, {.id = 1})
                                     .write(directory.path()));
    ASSERT_TRUE(analysis) << api::lastError();
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(analysis.errorOf(1, c.begin, c.end), c.text);
        EXPECT_EQ(analysis.readRaw(2, 0, 3).peaks(3), kGood);
    }
}

const std::string kOutside = "Scan data lie outside the data of the frame.";

Bytes hugeContentSize() {
    // A zstd frame header that claims 8 GiB of content, and then nothing of the kind.
    const Bytes payload = {0x28, 0xB5, 0x2F, 0xFD, 0xE0, 0, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0};
    return analysis_writer::block(3, payload);
}

Bytes absurdContentSize() {
    const Bytes payload = {0x28, 0xB5, 0x2F, 0xFD, 0xE0, 0, 0, 0, 0x80, 0, 0, 0, 0, 1, 0, 0};
    return analysis_writer::block(3, payload);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, HostileBlock,
    testing::Values(
        BlockCase{"HeaderCutShort", 2, Bytes{1, 2, 3}, 0, 1, frameError("Error reading binary header.")},
        BlockCase{"BlockSizeZero", 2, claiming({.blockSize = 0}), 0, 1,
                  frameError("Block size is smaller than the block header.")},
        BlockCase{"BlockSizeSeven", 2, claiming({.blockSize = 7}), 0, 1,
                  frameError("Block size is smaller than the block header.")},
        BlockCase{"BlockSizeAtLimit", 2, claiming({.blockSize = 0x40000000}), 0, 1,
                  frameError("Error reading frame data.")},
        BlockCase{"BlockSizeAboveLimit", 2, claiming({.blockSize = 0x40000001}), 0, 1,
                  frameError("Compressed scan size too large.")},
        BlockCase{"BlockSizeHuge", 2, claiming({.blockSize = 0xFFFFFFFF}), 0, 1,
                  frameError("Compressed scan size too large.")},
        BlockCase{"PayloadCutShort", 2, claiming({.blockSize = 2000}), 0, 1,
                  frameError("Error reading frame data.")},
        BlockCase{"PayloadNoZstd", 2, analysis_writer::block(1, Bytes{1, 2, 3, 4, 5, 6, 7, 8}), 0, 1,
                  frameError("Error decompressing frame data: Unspecified error code")},
        BlockCase{"NoContentSize", 2,
                  analysis_writer::frameBlock(kGood, {.contentSize = analysis_writer::ContentSize::omitted}),
                  0, 1, frameError("Error decompressing frame data: Error (generic)")},
        BlockCase{"ContentSizeAbove4GiB", 2, hugeContentSize(), 0, 1,
                  frameError("Error decompressing frame data: content size 8589934592 is impossible for 16 "
                             "compressed bytes")},
        BlockCase{"ContentSizeAbsurd", 2, absurdContentSize(), 0, 1,
                  frameError("Error decompressing frame data: content size 2147483648 is impossible for 16 "
                             "compressed bytes")},
        BlockCase{"MoreScansThanWords", 2, claiming({.secondEntry = 0xFFFFFFFF}), 0, 1,
                  frameError("Found invalid number of scans for frame, expected [4294967295] got [9]")},
        BlockCase{"ScansWithoutWords", 2, words({}, 1), 0, 1,
                  frameError("Found invalid number of scans for frame, expected [1] got [0]")},
        BlockCase{"OddScan", 2, words({2, 3, 1, 1, 1}, 2), 0, 1,
                  scanError(0, "number of decompressed entries not an even number.")},
        BlockCase{"OddLastScan", 2, words({2, 2, 1, 1, 1}, 2), 0, 2,
                  scanError(1, "number of decompressed entries not an even number.")},
        BlockCase{"StartsBeyondTheEnd", 2, words({9, 0, 1, 1}, 2), 0, 1, scanError(0, kOutside)},
        BlockCase{"ScanBeyondTheEnd", 2, words({2, 6, 1, 1}, 2), 0, 1, scanError(0, kOutside)},
        BlockCase{"StartsRunBackwards", 2, words({4, 0xFFFFFFFE, 1, 1}, 2), 0, 1, scanError(0, kOutside)},
        BlockCase{"EmptyFrameHasAllItsScans", 2, analysis_writer::emptyFrameBlock(5), 0, 6,
                  "Scan number [5] out of range."},
        BlockCase{"EmptyFrameOfBillions", 2, analysis_writer::emptyFrameBlock(0x30000000), 0, 0x30000001,
                  "Scan number [805306368] out of range."}),
    [](const auto& each) { return each.param.name; });

Bytes headerOnly(std::uint32_t scans, std::vector<std::uint32_t> offsets) {
    return analysis_writer::scanFrameHeader(0, scans, offsets);
}

// A header for three scans with these offsets, and 16 bytes of data behind it.
Bytes withOffsets(std::vector<std::uint32_t> offsets) {
    Bytes block = headerOnly(3, std::move(offsets));
    block.insert(block.end(), 16, 0);
    return block;
}

Bytes bomb(std::size_t bytes) { return analysis_writer::lzfStream(Bytes(bytes, 0)); }

INSTANTIATE_TEST_SUITE_P(
    Scans, HostileBlock,
    testing::Values(BlockCase{"ScanHeaderCutShort", 1, Bytes{1, 2, 3}, 0, 1,
                              frameError("Error reading 8-byte binary header.")},
                    BlockCase{"TooManyScans", 1, headerOnly(131073, {}), 0, 1,
                              frameError("Maximum number of scans exceeded.")},
                    BlockCase{"OffsetsCutShort", 1, headerOnly(131072, {24, 24}), 0, 1,
                              frameError("Error reading binary scan offsets.")},
                    BlockCase{"OffsetsRunBackwards", 1, withOffsets({24, 40, 24, 40}), 0, 3,
                              scanError(1, "Scan offsets run backwards.")},
                    BlockCase{"LastScanBeforeFirst", 1, withOffsets({24, 40, 10, 12}), 0, 3,
                              frameError("Compressed scan-range size too large.")},
                    BlockCase{"RangeTooLarge", 1, withOffsets({0, 1, 2, 0x40000001}), 0, 3,
                              frameError("Compressed scan-range size too large.")},
                    BlockCase{"RangeBeyondTheFile", 1, withOffsets({24, 24, 24, 5000}), 0, 3,
                              frameError("Error reading scan-range data.")},
                    BlockCase{"CorruptStream", 1, streams({Bytes{0xE0, 0xFF, 0xFF, 0x01}}), 0, 1,
                              scanError(0, "Corrupt LZF input stream.")},
                    BlockCase{"OddNumberOfBytes", 1,
                              streams({analysis_writer::lzfLiteralStream(Bytes{1, 2, 3, 4, 5})}), 0, 1,
                              scanError(0, "LZF-decompressed size not a multiple of 4.")},
                    BlockCase{"DecompressesBeyondTheLimit", 1, streams({bomb(0x400004)}), 0, 1,
                              scanError(0, "Maximum decompression-buffer size exceeded.")}),
    [](const auto& each) { return each.param.name; });

TEST(HostileBlob, ScanOfTheGreatestDecompressedSizeIsRead) {
    const TempDirectory directory;
    const api::Analysis analysis(AnalysisBuilder()
                                     .compression(1)
                                     .digitizerSamples(0x200000)
                                     .rawBlock(streams({bomb(0x400000)}))
                                     .write(directory.path()));
    EXPECT_EQ(analysis.readRaw(1, 0, 1).words.at(0), 0x100000U);
}

TEST(HostileBlob, OtherScansOfADamagedTableStayReadable) {
    const TempDirectory directory;
    const Bytes backwards = words({3, 0xFFFFFFFF, 2, 1, 8}, 3);  // scan 0 ends before it begins
    const api::Analysis analysis(AnalysisBuilder().rawBlock(backwards).write(directory.path()));
    EXPECT_EQ(analysis.errorOf(1, 0, 1), scanError(0, kOutside));
    EXPECT_EQ(analysis.readRaw(1, 1, 2).peaks(1), (Frame{{{1, 1}}}));

    const TempDirectory scanWise;
    Bytes block = withOffsets({24, 40, 24, 24});
    const api::Analysis lzf(AnalysisBuilder().compression(1).rawBlock(block).write(scanWise.path()));
    EXPECT_EQ(lzf.errorOf(1, 1, 2), scanError(1, "Scan offsets run backwards."));
    EXPECT_EQ(lzf.readRaw(1, 2, 3).peaks(1), Frame(1));
}

TEST(HostileBlob, IndexSumWrapsIn32Bits) {
    const TempDirectory directory;
    // Deltas 0 (index 0xFFFFFFFF, dropped), 6 (index 5), 0xFFFFFFFE (index 3).
    const Bytes block = words({1, 0, 70, 6, 71, 0xFFFFFFFE, 72}, 1);
    const api::Analysis analysis(AnalysisBuilder().rawBlock(block).write(directory.path()));
    EXPECT_EQ(analysis.readRaw(1, 0, 1).peaks(1), (Frame{{{5, 71}, {3, 72}}}));
}

TEST(HostileBlob, NegativePositionsMeanNoData) {
    for (const std::int64_t position : {std::int64_t{-1}, std::int64_t{-2}, std::int64_t{-3}, INT64_MIN}) {
        const TempDirectory directory;
        AnalysisBuilder builder;
        builder.frameAt(position).frame(kGood);
        const api::Analysis frames(builder.write(directory.path()));
        EXPECT_EQ(frames.errorOf(1, 0, 1), "Scan number [0] out of range.");
        EXPECT_EQ(frames.readRaw(2, 0, 3).peaks(3), kGood);
        EXPECT_EQ(frames.errorOf(1, 0, 1), "Scan number [0] out of range.");

        const TempDirectory scanWise;
        const api::Analysis scans(builder.compression(1).write(scanWise.path()));
        const std::string seekText = frameError(
            "Can't seek to binary header. Current position: -1. Error flags: good: 0, eof 0, fail 1, bad 0");
        const std::string expected = position == -1 ? "Scan number out of range." : seekText;
        EXPECT_EQ(scans.errorOf(1, 0, 1), expected);
        EXPECT_EQ(scans.readRaw(2, 0, 3).peaks(3), kGood);
        EXPECT_EQ(scans.errorOf(1, 0, 1), expected);
    }
}

TEST(HostileBlob, PositionsBeyondTheFileFail) {
    for (const std::int64_t position :
         {std::int64_t{1} << 20, std::int64_t{1} << 40, INT64_MAX - 7, INT64_MAX}) {
        const TempDirectory directory;
        AnalysisBuilder builder;
        builder.frameAt(position).frame(kGood);
        const api::Analysis frames(builder.write(directory.path()));
        EXPECT_EQ(frames.errorOf(1, 0, 1), frameError("Error reading binary header."));
        EXPECT_EQ(frames.readRaw(2, 0, 3).peaks(3), kGood);
        const TempDirectory scanWise;
        const api::Analysis scans(builder.compression(1).write(scanWise.path()));
        EXPECT_EQ(scans.errorOf(1, 0, 1), frameError("Error reading 8-byte binary header."));
    }
}

TEST(HostileBlob, WrongTypesInFrameRowsAreTold) {
    const TempDirectory directory;
    const api::Analysis analysis(
        AnalysisBuilder()
            .frame(kGood)
            .frame(kGood)
            .frame(kGood)
            .sql("CREATE TABLE Other AS SELECT * FROM Frames")
            .sql("DROP TABLE Frames")
            .sql("CREATE TABLE Frames (Id, KovaId, AccumulationTime, RampTime)")
            .sql("INSERT INTO Frames SELECT Id, KovaId, AccumulationTime, RampTime FROM Other")
            .sql("INSERT INTO Frames VALUES (4, 'sixteen', 1, 1), (5, 16.5, 1, 1), (6, x'10', 1, 1), "
                 "(7, 16, 'long', 1), (8, '16', 1, x'00')")
            .sql("INSERT INTO Frames SELECT 9, CAST(KovaId AS TEXT), 1, 1 FROM Other WHERE Id = 1")
            .write(directory.path()));
    ASSERT_TRUE(analysis) << api::lastError();
    for (const int id : {4, 5, 6, 7, 8}) {
        const std::string column = id < 7    ? "KovaId is not an integer"
                                   : id == 7 ? "AccumulationTime is not a number"
                                             : "RampTime is not a number";
        EXPECT_EQ(analysis.errorOf(id, 0, 1),
                  "CorruptFrameDataError for FrameId=" + std::to_string(id) + ": " + column);
    }
    EXPECT_EQ(analysis.readRaw(9, 0, 3).peaks(3), kGood);
}

class TruncatedBlob : public testing::TestWithParam<int> {};

TEST_P(TruncatedBlob, EveryLengthGivesTheFrameOrAClearError) {
    const TempDirectory directory;
    AnalysisBuilder().compression(GetParam()).frame(kGood).write(directory.path());
    const std::filesystem::path blob = directory / "analysis.kvd_bin";
    const api::Analysis analysis(directory.path());
    for (auto size = std::filesystem::file_size(blob); size-- > 0;) {
        std::filesystem::resize_file(blob, size);
        const api::Analysis fresh(directory.path());
        const std::string error = fresh.errorOf(1, 0, 3);
        EXPECT_TRUE(error.starts_with("CorruptFrameDataError for FrameId=1: Error reading "))
            << size << ' ' << error;
    }
}

INSTANTIATE_TEST_SUITE_P(Compression, TruncatedBlob, testing::Values(1, 2),
                         [](const auto& each) { return "Type" + std::to_string(each.param); });

void execute(const std::filesystem::path& database, const std::string& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(connection);
}

TEST(GrowingAnalysis, FramesWrittenAfterOpeningAreRead) {
    const TempDirectory directory;
    const api::Analysis analysis(AnalysisBuilder().frame(kGood).write(directory.path()));
    EXPECT_EQ(analysis.readRaw(1, 0, 3).peaks(3), kGood);
    EXPECT_EQ(analysis.errorOf(2, 0, 1), "CorruptFrameDataError for FrameId=2: Frame doesn't exist");
    const std::filesystem::path blob = directory / "analysis.kvd_bin";
    const auto position = std::filesystem::file_size(blob);
    const Frame later = {{{9, 9}}};
    const Bytes block = analysis_writer::frameBlock(later);
    std::ofstream(blob, std::ios::app | std::ios::binary)
        .write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size()));
    execute(directory / "analysis.kvd",
            "INSERT INTO Frames (Id, KovaId) VALUES (2, " + std::to_string(position) + ")");
    EXPECT_EQ(analysis.readRaw(2, 0, 1).peaks(1), later);
}

}  // namespace
