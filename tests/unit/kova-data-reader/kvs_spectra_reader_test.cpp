#include "kova-data-reader/blob/kvs_spectra_reader.h"

#include <gtest/gtest.h>

#include "analysis-writer/spectrum_block.h"
#include "fixtures/counting_stream.h"
#include "fixtures/failure.h"

namespace {

using fixtures::failureOf;

class SpectraReader : public testing::Test {
protected:
    SpectraReader() {
        analysis_writer::appendBytes(
            buffer.content(),
            analysis_writer::spectrumBlock({{{1.0, 2.0}, {3.0F, 4.0F}, {5.0F, 6.0F}}, {7, 8, 9}}));
    }

    void fillLines() { reader.fillLineSpectrum(stream, 1, 16); }
    void fillProfile() { reader.fillProfileSpectrum(stream, 1, 16); }

    fixtures::CountingStreambuf buffer{analysis_writer::Bytes(16, 0xAA)};
    std::istream stream{&buffer};
    lumo::io::kova::KvsSpectraReader reader{true, true, true};
};

TEST_F(SpectraReader, LinesThenProfileReadTheHeaderOnceAndSeekNoFurther) {
    fillLines();
    const std::size_t seeks = buffer.seeks;
    for (int i = 0; i < 2; ++i) {
        fillProfile();
        fillLines();
    }
    EXPECT_EQ(buffer.reads, 3U);  // header, lines, profile
    EXPECT_EQ(buffer.seeks, seeks);
}

TEST_F(SpectraReader, FailuresHaveTheirTextsAndLeaveNothingLoaded) {
    const std::string frame = "CorruptFrameDataError for FrameId=1: ";
    const std::string lineText = "Invalid call to getLineSpectrum(), line spectrum not read";
    const std::string profileText = "Invalid call to getProfileSpectrum(), profile spectrum not read";
    const std::string flags = " Current position: -1. Error flags: good: 0, eof 0, fail 1, bad 0";
    const auto view = [this] { reader.viewLineSpectrum(2, false); };
    buffer.failSeek(1);
    EXPECT_EQ(failureOf([this] { fillLines(); }), frame + "Can't seek to binary header." + flags);
    EXPECT_EQ(failureOf(view), lineText);
    fillLines();
    EXPECT_EQ(failureOf([this] { reader.numberOfProfilePoints(); }), profileText);
    buffer.failRead(1);
    EXPECT_EQ(failureOf([this] { fillProfile(); }), frame + "Error reading frame data.");
    EXPECT_EQ(failureOf(view), lineText) << "a failure must leave nothing loaded";
    buffer.failSeek(3);
    EXPECT_EQ(failureOf([this] { fillProfile(); }), frame + "Can't seek to profile block start." + flags);
    fillProfile();
    EXPECT_EQ(reader.numberOfProfilePoints(), 3U);
    buffer.failSeek(1);
    EXPECT_EQ(failureOf([this] { fillLines(); }), frame + "Can't seek to profile block start." + flags);
    fillProfile();
    fillLines();
    std::vector<double> positions;
    std::vector<float> intensities;
    reader.getLineSpectrum(2, positions, intensities, nullptr);
    EXPECT_EQ(positions, (std::vector<double>{1.0, 2.0}));
}

}  // namespace
