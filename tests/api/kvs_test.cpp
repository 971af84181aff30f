#include <gtest/gtest.h>

#include "analysis-writer/block.h"
#include "analysis-writer/little_endian.h"
#include "analysis-writer/spectrum_block.h"
#include "api/analysis.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kvs.h"

namespace {

using analysis_writer::Bytes;
using analysis_writer::Spectrum;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

std::string lastError() { return api::lastError(kvs_get_last_error_string); }

struct Lines {
    std::vector<double> positions;
    std::vector<float> intensities;
    friend bool operator==(const Lines&, const Lines&) = default;
};

class Analysis {
public:
    explicit Analysis(const AnalysisBuilder& builder)
        : handle(kvs_open(builder.write(directory.path()).c_str(), 0)) {}
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;
    ~Analysis() { kvs_close(handle); }

    Lines lines(std::int64_t id) const {
        const std::uint32_t n = kvs_read_line_spectrum(handle, id, nullptr, nullptr, 0);
        Lines result{std::vector<double>(n), std::vector<float>(n)};
        EXPECT_EQ(kvs_read_line_spectrum(handle, id, result.positions.data(), result.intensities.data(), n),
                  n);
        return result;
    }

    std::vector<std::uint32_t> profile(std::int64_t id) const {
        std::vector<std::uint32_t> result(kvs_read_profile_spectrum(handle, id, nullptr, 0));
        const auto size = static_cast<std::uint32_t>(result.size());
        EXPECT_EQ(kvs_read_profile_spectrum(handle, id, result.data(), size), size);
        return result;
    }

    // "" when the spectrum can be read: an empty one and a failure both give 0.
    std::string lineError(std::int64_t id) const {
        return errorOf([&] {
            std::vector<double> positions(64, -7.0);
            std::vector<float> intensities(64, -7.0F);
            if (kvs_read_line_spectrum(handle, id, positions.data(), intensities.data(), 64) == 0) {
                EXPECT_EQ(positions, std::vector<double>(64, -7.0));
                EXPECT_EQ(intensities, std::vector<float>(64, -7.0F));
            }
        });
    }

    std::string profileError(std::int64_t id) const {
        return errorOf([&] { kvs_read_profile_spectrum(handle, id, nullptr, 0); });
    }

private:
    static std::string errorOf(const auto& read) {
        kvs_open(nullptr, 0);
        const std::string before = lastError();
        read();
        return lastError() == before ? "" : lastError();
    }

    const TempDirectory directory;

public:
    const std::uint64_t handle;
};

const Lines kLines = {{10.5, 20.25, 399'999.0}, {1.0F, 2.5F, 3e9F}};
const Spectrum kSpectrum = {{kLines.positions, kLines.intensities, {0.5F, 0.25F, 4.0F}},
                            {0, 7, 0xFFFFFFFF, 1, 256}};

std::string frameError(const std::string& text) { return "CorruptFrameDataError for FrameId=1: " + text; }

AnalysisBuilder spectra() { return std::move(AnalysisBuilder().compression(3)); }

TEST(Kvs, PartsThatTheAnalysisLacksAreRefused) {
    const Analysis lines(spectra().parts(true, false, false).spectrum(kSpectrum));
    EXPECT_EQ(lines.lines(1), kLines);
    EXPECT_EQ(kvs_read_line_spectrum_with_width(lines.handle, 1, nullptr, nullptr, nullptr, 0), 0U);
    EXPECT_EQ(lastError(), "Invalid call to getLineSpectrum(), peak width are not available");
    EXPECT_EQ(lines.profileError(1), frameError("No profile spectra supported in this analysis."));
    const Analysis profiles(spectra().parts(false, false, true).spectrum(kSpectrum));
    EXPECT_EQ(profiles.profile(1), kSpectrum.profile);
    EXPECT_EQ(profiles.lineError(1), frameError("No line spectra supported in this analysis."));
}

Bytes blockWith(std::optional<std::uint32_t> blockSize, std::optional<std::uint32_t> lineSize) {
    Bytes block = analysis_writer::spectrumBlock(kSpectrum);
    const auto put = [&block](std::size_t at, std::optional<std::uint32_t> value) {
        if (value) {
            analysis_writer::patchU32(block, at, *value);
        }
    };
    put(0, blockSize);
    put(4, lineSize);
    return block;
}

TEST(HostileSpectrum, FailsWithTextAndLeavesTheHandleUsable) {
    struct Case {
        const char* name;
        Bytes block;
        std::string lineText;     // "" when the line spectrum can be read
        std::string profileText;  // "" when the profile can be read
        std::vector<std::uint32_t> profile = {};
    };
    const std::string header = frameError("Error reading binary header.");
    const std::string tooLarge = frameError("Compressed spectrum size too large.");
    const std::string data = frameError("Error reading frame data.");
    const Case cases[] = {
        {"Intact", blockWith({}, {}), "", "", kSpectrum.profile},
        {"HeaderCutShort", {1, 2}, header, header},
        {"BlockSizeSeven", blockWith(7, {}), "", tooLarge},
        {"LineLargerThanBlock", blockWith({}, 5000), data, tooLarge},
        {"PartsAddUpByWrapping", blockWith({}, 0xFFFFFFF9), tooLarge, data},
        {"LineTooLarge", blockWith(0xFFFFFFFF, 0x40000001), tooLarge, tooLarge},
        {"LineAtLimitBeyondTheFile", blockWith(0x40000008, 0x40000000), data, ""},
        {"ProfileTooLarge", blockWith(0xFFFFFFFF, {}), "", tooLarge},
        {"ProfileBeyondTheFile", blockWith(5000, {}), "", data},
        {"LineMissing", blockWith({}, 0),
         frameError("Number of peaks [3] exceeds the line spectrum of 0 bytes."),
         frameError("Error decompressing frame data: Destination buffer is too small")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Analysis analysis(
            spectra().spectrum(kSpectrum, {.id = 2}).rawBlock(c.block, {.id = 1, .numPeaks = 3}));
        for (int attempt = 0; attempt < 2; ++attempt) {
            EXPECT_EQ(analysis.lineError(1), c.lineText);
            EXPECT_EQ(analysis.lines(1), c.lineText.empty() ? kLines : Lines());
            EXPECT_EQ(analysis.profileError(1), c.profileText);
            EXPECT_EQ(analysis.profile(1), c.profile);
            EXPECT_EQ(analysis.lines(2), kLines);
            EXPECT_EQ(analysis.profile(2), kSpectrum.profile);
        }
    }
}

TEST(Kvs, PeakCountsThatContradictTheDataAreTold) {
    const std::pair<const char*, std::string> cases[] = {
        {"4", frameError("Number of peaks [4] exceeds the line spectrum of 36 bytes.")},
        {"9223372036854775807",
         frameError("Number of peaks [9223372036854775807] exceeds the line spectrum of 36 bytes.")},
        {"NULL", frameError("Number of peaks is missing for the line spectrum.")},
        {"-5", frameError("Number of peaks is missing for the line spectrum.")},
        {"'many'", frameError("NumPeaks is not an integer")}};
    for (const auto& [value, text] : cases) {
        const Analysis analysis(spectra()
                                    .parts(true, false, true)
                                    .spectrum(kSpectrum)
                                    .sql(std::string("UPDATE Frames SET NumPeaks=") + value));
        EXPECT_EQ(analysis.lineError(1), text) << value;
    }
    // A smaller count reads the beginning: the arrays follow each other by the count, not by the size of the
    // data.
    const Analysis analysis(spectra().spectrum(kSpectrum).sql("UPDATE Frames SET NumPeaks=1"));
    EXPECT_EQ(analysis.lines(1).positions, std::vector<double>{10.5});
}

TEST(Kvs, ConvertsAndReportsInItsOwnSlot) {
    AnalysisBuilder builder = spectra();
    builder.spectrum(kSpectrum).frameAt(-1, {.mzCalibration = 9});
    const Analysis analysis(builder);
    std::vector<double> values = {1000.0, 2000.0};
    EXPECT_EQ(kvs_index_to_mz(analysis.handle, 99, nullptr, nullptr, 0), 1U);
    kova_open("\xFF", 0);
    EXPECT_EQ(kvs_index_to_mz(analysis.handle, 2, values.data(), values.data(), 2), 0U);
    EXPECT_EQ(lastError(), "No m/z trafo available.");
    EXPECT_EQ(api::lastError(), "Invalid UTF-8");
    EXPECT_EQ(kvs_has_recalibrated_state(0), 0U);
    kvs_set_num_threads(1);
    kvs_close(0);
}

}  // namespace
