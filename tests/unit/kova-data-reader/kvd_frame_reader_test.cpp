#include "kova-data-reader/blob/kvd_frame_reader.h"

#include <gtest/gtest.h>

#include "analysis-writer/frame_block.h"
#include "diag/errors.h"
#include "fixtures/counting_stream.h"
#include "kova-data-reader/blob/byte_shuffling.h"

namespace {

using analysis_writer::Bytes;
using analysis_writer::Frame;
using lumo::io::kova::KvdFrameReader;

const Frame kFrame = {{{4, 40}}, {}, {{7, 70}, {9, 90}}};

class FrameReader : public testing::Test {
protected:
    FrameReader() : buffer(file()), stream(&buffer) {}

    static Bytes file() {
        Bytes bytes(16, 0xAA);
        for (int copy = 0; copy < 2; ++copy) {
            const Bytes block = analysis_writer::frameBlock(kFrame);
            bytes.insert(bytes.end(), block.begin(), block.end());
        }
        return bytes;
    }

    std::string failure(std::int64_t position) {
        try {
            reader.fill(stream, 1, position);
        } catch (const std::exception& e) {
            return e.what();
        }
        return "none";
    }

    std::vector<std::uint32_t> words(std::uint32_t scan) {
        std::uint32_t start = 0;
        std::uint32_t end = 0;
        const auto& shuffled = reader.get(scan, start, end);
        std::vector<std::uint32_t> result;
        for (std::uint32_t i = start; i < end; ++i) {
            result.push_back(
                lumo::io::kova::decoding::decodeByteShuffling({shuffled.data(), shuffled.size()}, i));
        }
        return result;
    }

    std::int64_t second = 16 + static_cast<std::int64_t>(analysis_writer::frameBlock(kFrame).size());
    fixtures::CountingStreambuf buffer;
    std::istream stream;
    KvdFrameReader reader;
};

TEST_F(FrameReader, ReadsEachFrameOnceUntilAnotherIsAskedFor) {
    reader.fill(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 2U);  // header and payload
    EXPECT_EQ(words(2), (std::vector<std::uint32_t>{8, 70, 2, 90}));
    reader.fill(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 2U);
    reader.fill(stream, 2, second);
    reader.fill(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 6U);
    reader.fill(stream, 3, -2);
    reader.fill(stream, 3, -1);
    EXPECT_EQ(reader.numberOfScans(), 0U);
    EXPECT_EQ(buffer.reads, 6U);
    EXPECT_THROW(reader.get(0, *std::make_unique<std::uint32_t>(), *std::make_unique<std::uint32_t>()),
                 std::invalid_argument);
}

TEST_F(FrameReader, FailedStepLeavesNothingLoadedAndTheNextCallReadsAgain) {
    struct Step {
        std::size_t read;
        std::size_t seek;
        const char* text;
    };
    constexpr std::size_t kNever = fixtures::CountingStreambuf::kNever;
    const Step steps[] = {
        {1, kNever, "CorruptFrameDataError for FrameId=1: Error reading binary header."},
        {2, kNever, "CorruptFrameDataError for FrameId=1: Error reading frame data."},
        {kNever, 1,
         "CorruptFrameDataError for FrameId=1: Can't seek to binary header. Current position: -1. Error "
         "flags: good: 0, "
         "eof 0, fail 1, bad 0"},
        {kNever, 2, "CorruptFrameDataError for FrameId=1: Error seeking to frame data."},
    };
    for (const Step& step : steps) {
        reader.fill(stream, 2, second);
        buffer.failRead(step.read);
        buffer.failSeek(step.seek);
        EXPECT_EQ(failure(16), step.text);
        buffer.failRead(kNever);
        buffer.failSeek(kNever);
        const std::size_t before = buffer.reads;
        EXPECT_EQ(failure(second), "none");
        EXPECT_EQ(buffer.reads, before + 2) << "the frame before the failure counted as loaded";
        EXPECT_EQ(words(0), (std::vector<std::uint32_t>{5, 40}));
    }
}

}  // namespace
