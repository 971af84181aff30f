#include "kova-data-reader/blob/kvd_frame_reader.h"

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "fixtures/counting_stream.h"
#include "fixtures/failure.h"
#include "kova-data-reader/blob/byte_shuffling.h"

namespace {

constexpr std::size_t kNever = fixtures::CountingStreambuf::kNever;

// Two equal frames whose third scan holds two peaks.
class FrameReader : public testing::Test {
protected:
    FrameReader() {
        const auto block = analysis_writer::frameBlock({{{4, 40}}, {}, {{7, 70}, {9, 90}}});
        analysis_writer::appendBytes(buffer.content(), block);
        analysis_writer::appendBytes(buffer.content(), block);
        second = 16 + static_cast<std::int64_t>(block.size());
    }

    std::uint32_t wordsOfThirdScan() {
        std::uint32_t start = 0;
        std::uint32_t end = 0;
        reader.get(2, start, end);
        return end - start;
    }

    fixtures::CountingStreambuf buffer{analysis_writer::Bytes(16, 0xAA)};
    std::istream stream{&buffer};
    std::int64_t second = 0;
    lumo::io::kova::KvdFrameReader reader;
};

TEST_F(FrameReader, ReadsEachFrameOnceUntilAnotherIsAskedFor) {
    reader.fill(stream, 1, 16);
    reader.fill(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 2U);  // header and payload
    reader.fill(stream, 2, second);
    reader.fill(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 6U);
    reader.fill(stream, 3, -1);
    EXPECT_EQ(reader.numberOfScans(), 0U);
}

TEST_F(FrameReader, FailedStepLeavesNothingLoadedAndTheNextCallReadsAgain) {
    const struct {
        std::size_t read;
        std::size_t seek;
        std::string text;
    } steps[] = {
        {1, kNever, "Error reading binary header."},
        {2, kNever, "Error reading frame data."},
        {kNever, 1,
         "Can't seek to binary header. Current position: -1. Error flags: good: 0, eof 0, fail 1, bad 0"},
        {kNever, 2, "Error seeking to frame data."},
    };
    for (const auto& [read, seek, text] : steps) {
        reader.fill(stream, 2, second);
        buffer.failRead(read);
        buffer.failSeek(seek);
        EXPECT_EQ(fixtures::failureOf([&] { reader.fill(stream, 1, 16); }),
                  "CorruptFrameDataError for FrameId=1: " + text);
        buffer.failRead(kNever);
        buffer.failSeek(kNever);
        const std::size_t before = buffer.reads;
        reader.fill(stream, 2, second);
        EXPECT_EQ(buffer.reads, before + 2) << "the frame before the failure counted as loaded";
        EXPECT_EQ(wordsOfThirdScan(), 4U);
    }
}

}  // namespace
