#include "kova-data-reader/blob/kvs_spectra_reader.h"

#include <functional>

#include <gtest/gtest.h>

#include "analysis-writer/spectrum_block.h"
#include "fixtures/counting_stream.h"

namespace {

using lumo::io::kova::KvsSpectraReader;

class SpectraReader : public testing::Test {
protected:
    static analysis_writer::Bytes file() {
        const analysis_writer::Spectrum spectrum = {{{1.0, 2.0}, {3.0F, 4.0F}, {5.0F, 6.0F}}, {7, 8, 9}};
        analysis_writer::Bytes bytes = analysis_writer::spectrumBlock(spectrum);
        bytes.insert(bytes.begin(), 16, 0xAA);
        return bytes;
    }

    std::string failure(const std::function<void()>& call) {
        try {
            call();
        } catch (const std::exception& e) {
            return e.what();
        }
        return "none";
    }

    fixtures::CountingStreambuf buffer{file()};
    std::istream stream{&buffer};
    KvsSpectraReader reader{true, true, true};
};

TEST_F(SpectraReader, LinesThenProfileReadTheHeaderOnceAndSeekNoFurther) {
    reader.fillLineSpectrum(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 2U);  // header, lines
    const std::size_t seeks = buffer.seeks;
    reader.fillProfileSpectrum(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 3U);
    EXPECT_EQ(buffer.seeks, seeks);
    reader.fillLineSpectrum(stream, 1, 16);
    reader.fillProfileSpectrum(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 3U);
    std::vector<std::uint32_t> profile;
    reader.getProfileSpectrum(profile);
    EXPECT_EQ(profile, (std::vector<std::uint32_t>{7, 8, 9}));
}

TEST_F(SpectraReader, ProfileThenLinesSeekBack) {
    reader.fillProfileSpectrum(stream, 1, 16);
    reader.fillLineSpectrum(stream, 1, 16);
    EXPECT_EQ(buffer.reads, 3U);
    std::vector<double> positions;
    std::vector<float> intensities;
    reader.getLineSpectrum(2, positions, intensities, nullptr);
    EXPECT_EQ(positions, (std::vector<double>{1.0, 2.0}));
    EXPECT_EQ(intensities, (std::vector<float>{3.0F, 4.0F}));
}

TEST_F(SpectraReader, CallsOutOfOrderAndFailedReadsHoldNothing) {
    const std::string lineText = "Invalid call to getLineSpectrum(), line spectrum not read";
    const std::string profileText = "Invalid call to getProfileSpectrum(), profile spectrum not read";
    const auto view = [this] { reader.viewLineSpectrum(2, false); };
    EXPECT_EQ(failure(view), lineText);
    reader.fillLineSpectrum(stream, 1, 16);
    EXPECT_EQ(failure([this] { reader.numberOfProfilePoints(); }), profileText);
    buffer.failRead(1);
    EXPECT_EQ(failure([this] { reader.fillProfileSpectrum(stream, 1, 16); }),
              "CorruptFrameDataError for FrameId=1: Error reading frame data.");
    EXPECT_EQ(failure(view), lineText) << "a failure must leave nothing loaded";
    const std::size_t before = buffer.reads;
    reader.fillProfileSpectrum(stream, 1, 16);
    EXPECT_EQ(buffer.reads, before + 2) << "the header is read again";
    EXPECT_EQ(reader.numberOfProfilePoints(), 3U);
}

TEST_F(SpectraReader, FailedSeeksHaveTheirTexts) {
    const std::string flags = " Current position: -1. Error flags: good: 0, eof 0, fail 1, bad 0";
    buffer.failSeek(1);
    EXPECT_EQ(failure([this] { reader.fillLineSpectrum(stream, 1, 16); }),
              "CorruptFrameDataError for FrameId=1: Can't seek to binary header." + flags);
    buffer.failSeek(3);
    EXPECT_EQ(failure([this] { reader.fillProfileSpectrum(stream, 1, 16); }),
              "CorruptFrameDataError for FrameId=1: Can't seek to profile block start." + flags);
    reader.fillProfileSpectrum(stream, 1, 16);
    buffer.failSeek(1);
    EXPECT_EQ(failure([this] { reader.fillLineSpectrum(stream, 1, 16); }),
              "CorruptFrameDataError for FrameId=1: Can't seek to profile block start." + flags);
}

}  // namespace
