#include <gtest/gtest.h>
#include <lzf.h>
#include <zstd.h>

#include "analysis-writer/frame_block.h"
#include "analysis-writer/lzf_stream.h"
#include "analysis-writer/scan_blocks.h"
#include "analysis-writer/spectrum_block.h"

namespace analysis_writer {
namespace {

using Words = std::vector<std::uint32_t>;
using Values = std::vector<std::int32_t>;

Bytes decompressed(ByteView frame) {
    const unsigned long long size = ZSTD_getFrameContentSize(frame.data(), frame.size());
    EXPECT_LT(size, 1000U);
    Bytes content(size);
    EXPECT_EQ(ZSTD_decompress(content.data(), content.size(), frame.data(), frame.size()), size);
    return content;
}

std::uint32_t wordAt(ByteView bytes, std::size_t offset) {
    return bytes[offset] | (std::uint32_t{bytes[offset + 1]} << 8) |
           (std::uint32_t{bytes[offset + 2]} << 16) | (std::uint32_t{bytes[offset + 3]} << 24);
}

TEST(FrameBlock, HoldsTableAndPairsByHand) {
    // Three scans: two peaks, none, one peak. The table names its own length and the sizes of the first two.
    const Frame frame = {{{10, 5}, {20, 0x1FF}}, {}, {{0, 1}}};
    const Words expected = {3, 4, 0, 11, 5, 10, 0x1FF, 1, 1};
    ASSERT_EQ(frameWords(frame), expected);

    const Bytes bytes = frameBlock(frame);
    EXPECT_EQ(wordAt(bytes, 0), bytes.size());
    EXPECT_EQ(wordAt(bytes, 4), 3U);
    const Bytes planes = {3, 4, 0, 11, 5, 10, 0xFF, 1, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0,
                          0, 0, 0, 0,  0, 0,  0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(decompressed(ByteView(bytes).subspan(8)), planes);
}

TEST(ScanBlocks, CodesRunLengthsFromBinZero) {
    EXPECT_EQ(runLengthValues({{0, 7}, {1, 0}, {5, 9}}), (Values{7, 0, -3, 9}));
    EXPECT_EQ(runLengthValues({{4, 1}}), (Values{-4, 1}));
    EXPECT_EQ(runLengthValues({{0x80000001, 1}}), (Values{-0x7FFFFFFF, -2, 1}));
    EXPECT_THROW(runLengthValues({{4, 1}, {4, 1}}), std::invalid_argument);
    EXPECT_THROW(runLengthValues({{4, 0x80000000}}), std::invalid_argument);
}

TEST(ScanBlocks, HeaderAndStreamByHand) {
    // Offsets count from the block's start: 8 + 3 * 4 header bytes, then a stream of 9 bytes and an empty
    // one.
    const Bytes expected = {29, 0,  0, 0, 2, 0, 0,    0,    20,   0,    0, 0, 29, 0, 0,
                            0,  29, 0, 0, 0, 7, 0xFE, 0xFF, 0xFF, 0xFF, 6, 0, 0,  0};
    EXPECT_EQ(scanFrameBlock({{{2, 6}}, {}}), expected);
}

TEST(LzfStream, MatchesReachNoFurtherThanTheWindow) {
    for (const std::uint32_t period : {8192U, 8193U}) {
        Bytes content(20000);
        for (std::uint32_t i = 0; i < content.size(); ++i) {
            content[i] = static_cast<std::uint8_t>(((i % period + 1) * 2654435761U) >> 24);
        }
        const Bytes stream = lzfStream(content);
        Bytes expanded(content.size());
        lzf_decompress(stream.data(), static_cast<unsigned>(stream.size()), expanded.data(), 20000);
        EXPECT_EQ(expanded, content) << period;
    }
}

TEST(SpectrumBlock, LaysPartsOutOneAfterTheOther) {
    Spectrum spectrum;
    spectrum.lines.positions = {1.0};
    spectrum.lines.intensities = {2.0F};
    spectrum.lines.widths = {0.5F};
    spectrum.profile = {0x0201, 0x0403};
    const Bytes bytes = spectrumBlock(spectrum);
    const std::uint32_t lineSize = wordAt(bytes, 4);
    EXPECT_EQ(wordAt(bytes, 0), bytes.size());
    EXPECT_EQ(decompressed(ByteView(bytes).subspan(8, lineSize)),
              (Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0, 0, 0x40, 0, 0, 0, 0x3F}));
    EXPECT_EQ(decompressed(ByteView(bytes).subspan(8 + lineSize)), (Bytes{1, 3, 2, 4, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace analysis_writer
