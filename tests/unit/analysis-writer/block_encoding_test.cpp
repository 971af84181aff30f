#include <gtest/gtest.h>
#include <zstd.h>

#include "analysis-writer/byte_shuffle.h"
#include "analysis-writer/frame_block.h"
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

TEST(ByteShuffle, PutsLeastSignificantPlaneFirst) {
    EXPECT_EQ(shuffled(Words{0x04030201, 0x14131211, 0x24232221}),
              (Bytes{0x01, 0x11, 0x21, 0x02, 0x12, 0x22, 0x03, 0x13, 0x23, 0x04, 0x14, 0x24}));
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

TEST(FrameBlock, FollowsOverridesAndKeepsThePayload) {
    const Frame frame = {{{1, 1}}};
    const Bytes plain = frameBlock(frame);
    Bytes damaged = frameBlock(frame, {.overrides = {.blockSize = 0x40000001, .secondEntry = 7}});
    EXPECT_EQ(wordAt(damaged, 0), 0x40000001U);
    EXPECT_EQ(wordAt(damaged, 4), 7U);
    std::copy_n(plain.begin(), 8, damaged.begin());
    EXPECT_EQ(damaged, plain);
}

TEST(FrameBlock, OmitsTheContentSizeOnRequest) {
    const Bytes bytes = frameBlock({{{1, 1}}}, {.contentSize = ContentSize::omitted});
    EXPECT_EQ(ZSTD_getFrameContentSize(bytes.data() + 8, bytes.size() - 8), ZSTD_CONTENTSIZE_UNKNOWN);
}

TEST(FrameBlock, BareHeadersAndWrappingDeltas) {
    EXPECT_EQ(emptyFrameBlock(5), (Bytes{8, 0, 0, 0, 5, 0, 0, 0}));
    EXPECT_EQ(frameBlock({}), (Bytes{8, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(pairWords({{9, 1}, {4, 2}}), (Words{10, 1, 0xFFFFFFFB, 2}));
}

TEST(FrameBlock, ReusedEncoderGivesTheSameBlocks) {
    FrameBlockEncoder encoder(3);
    for (const Frame& frame : {Frame{{{3, 9}, {4, 0}}, {}}, Frame{}, Frame{{}, {{0xFFFFFFFE, 0xFFFFFFFF}}}}) {
        const ByteView encoded = encoder.encode(frame);
        EXPECT_EQ(Bytes(encoded.begin(), encoded.end()), frameBlock(frame, {.zstdLevel = 3}));
    }
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

TEST(SpectrumBlock, AbsentPartsTakeNoBytes) {
    Spectrum spectrum;
    spectrum.lines.positions = {1.0};
    spectrum.lines.intensities = {2.0F};
    spectrum.profile = {1};
    EXPECT_EQ(wordAt(spectrumBlock(spectrum, {.lines = false}), 4), 0U);
    const Bytes lines = spectrumBlock(spectrum, {.widths = false, .profile = false});
    EXPECT_EQ(wordAt(lines, 4) + 8, lines.size());
    EXPECT_EQ(decompressed(ByteView(lines).subspan(8)).size(), 12U);
    EXPECT_THROW(spectrumBlock(spectrum), std::invalid_argument);
}

}  // namespace
}  // namespace analysis_writer
