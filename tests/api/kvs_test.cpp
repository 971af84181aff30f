#include <cstring>
#include <fstream>

#include <gtest/gtest.h>
#include <zlib.h>
#include <nlohmann/json.hpp>

#include "analysis-writer/block.h"
#include "analysis-writer/spectrum_block.h"
#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kova.h"
#include "kovadata/kvs.h"

namespace {

using analysis_writer::Bytes;
using analysis_writer::Spectrum;
using fixtures::AnalysisBuilder;
using fixtures::TempDirectory;

std::string textOf(decltype(&kvs_get_last_error_string) get) {
    std::string text(get(nullptr, 0), '\0');
    get(text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    return text;
}

std::string lastError() { return textOf(kvs_get_last_error_string); }

struct Lines {
    std::vector<double> positions;
    std::vector<float> intensities;
    std::vector<float> widths;
    friend bool operator==(const Lines&, const Lines&) = default;
};

class Analysis {
public:
    explicit Analysis(const std::filesystem::path& directory) : handle(kvs_open(directory.c_str(), 0)) {}
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;
    ~Analysis() { kvs_close(handle); }

    Lines lines(std::int64_t id) const {
        const std::uint32_t n = kvs_read_line_spectrum(handle, id, nullptr, nullptr, 0);
        Lines result{std::vector<double>(n), std::vector<float>(n), {}};
        EXPECT_EQ(kvs_read_line_spectrum(handle, id, result.positions.data(), result.intensities.data(), n),
                  n);
        return result;
    }

    Lines linesWithWidths(std::int64_t id) const {
        const std::uint32_t n = kvs_read_line_spectrum_with_width(handle, id, nullptr, nullptr, nullptr, 0);
        Lines result{std::vector<double>(n), std::vector<float>(n), std::vector<float>(n)};
        EXPECT_EQ(kvs_read_line_spectrum_with_width(handle, id, result.positions.data(),
                                                    result.intensities.data(), result.widths.data(), n),
                  n);
        return result;
    }

    std::vector<std::uint32_t> profile(std::int64_t id) const {
        std::vector<std::uint32_t> result(kvs_read_profile_spectrum(handle, id, nullptr, 0));
        const auto size = static_cast<std::uint32_t>(result.size());
        EXPECT_EQ(kvs_read_profile_spectrum(handle, id, result.data(), size), size);
        return result;
    }

    std::string lineError(std::int64_t id) const {
        std::vector<double> positions(64, -7.0);
        std::vector<float> intensities(64, -7.0F);
        const std::string before = lastError();
        const std::uint32_t n = kvs_read_line_spectrum(handle, id, positions.data(), intensities.data(), 64);
        EXPECT_EQ(n, 0U);
        EXPECT_EQ(positions, std::vector<double>(64, -7.0));
        return lastError();
    }

    std::string profileError(std::int64_t id) const {
        EXPECT_EQ(kvs_read_profile_spectrum(handle, id, nullptr, 0), 0U);
        return lastError();
    }

    const std::uint64_t handle;
};

const Spectrum kSpectrum = {{{10.5, 20.25, 399'999.0}, {1.0F, 2.5F, 3e9F}, {0.5F, 0.25F, 4.0F}},
                            {0, 7, 0xFFFFFFFF, 1, 256}};
const Lines kLines = {{10.5, 20.25, 399'999.0}, {1.0F, 2.5F, 3e9F}, {}};
const Lines kLinesWithWidths = {{10.5, 20.25, 399'999.0}, {1.0F, 2.5F, 3e9F}, {0.5F, 0.25F, 4.0F}};

std::string frameError(const std::string& text) { return "CorruptFrameDataError for FrameId=1: " + text; }

AnalysisBuilder spectra() { return std::move(AnalysisBuilder().compression(3)); }

TEST(Kvs, ReadsLinesWidthsAndProfile) {
    const TempDirectory directory;
    const Analysis analysis(spectra().spectrum(kSpectrum).spectrum({}).write(directory.path()));
    ASSERT_NE(analysis.handle, 0U) << lastError();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(analysis.lines(1), kLines);
        EXPECT_EQ(analysis.profile(1), kSpectrum.profile);
        EXPECT_EQ(analysis.linesWithWidths(1), kLinesWithWidths);
        EXPECT_EQ(analysis.profile(2), std::vector<std::uint32_t>());
        EXPECT_EQ(analysis.lines(2), Lines());
    }
}

TEST(Kvs, ArraysTooShortByOneStayUntouched) {
    const TempDirectory directory;
    const Analysis analysis(spectra().spectrum(kSpectrum).write(directory.path()));
    double positions[3] = {-1, -1, -1};
    float values[3] = {-1, -1, -1};
    std::uint32_t profile[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(kvs_read_line_spectrum_with_width(analysis.handle, 1, positions, values, values, 2), 3U);
    EXPECT_EQ(kvs_read_profile_spectrum(analysis.handle, 1, profile, 4), 5U);
    EXPECT_EQ(positions[0], -1);
    EXPECT_EQ(values[0], -1);
    EXPECT_EQ(profile[0], 9U);
}

TEST(Kvs, PartsThatTheAnalysisLacksAreRefused) {
    const TempDirectory linesOnly;
    const Analysis lines(spectra().parts(true, false, false).spectrum(kSpectrum).write(linesOnly.path()));
    EXPECT_EQ(lines.lines(1), kLines);
    EXPECT_EQ(kvs_read_line_spectrum_with_width(lines.handle, 1, nullptr, nullptr, nullptr, 0), 0U);
    EXPECT_EQ(lastError(), "Invalid call to getLineSpectrum(), peak width are not available");
    EXPECT_EQ(lines.profileError(1), frameError("No profile spectra supported in this analysis."));
    const TempDirectory profileOnly;
    const Analysis profiles(
        spectra().parts(false, false, true).spectrum(kSpectrum).write(profileOnly.path()));
    EXPECT_EQ(profiles.profile(1), kSpectrum.profile);
    EXPECT_EQ(profiles.lineError(1), frameError("No line spectra supported in this analysis."));
}

TEST(Kvs, EmptySpectraLeaveTheLastErrorAlone) {
    const TempDirectory directory;
    AnalysisBuilder builder = spectra();
    for (const std::int64_t position : {std::int64_t{-1}, std::int64_t{-2}, INT64_MIN}) {
        builder.frameAt(position);
    }
    const Analysis analysis(builder.write(directory.path()));
    kvs_open("no/such/directory", 0);
    const std::string before = lastError();
    for (const std::int64_t id : {1, 2, 3}) {
        EXPECT_EQ(analysis.profile(id), std::vector<std::uint32_t>());
        EXPECT_EQ(analysis.lines(id), Lines());
        EXPECT_EQ(analysis.linesWithWidths(id), Lines());
    }
    EXPECT_EQ(lastError(), before);
}

struct DamagedSpectrum {
    const char* name;
    Bytes block;
    std::string lineText;     // "" when the line spectrum can be read
    std::string profileText;  // "" when the profile can be read, "empty" when it has no points
};

class HostileSpectrum : public testing::TestWithParam<DamagedSpectrum> {};

TEST_P(HostileSpectrum, FailsWithTextAndLeavesTheHandleUsable) {
    const TempDirectory directory;
    const Analysis analysis(spectra()
                                .spectrum(kSpectrum, {.id = 2})
                                .rawBlock(GetParam().block, {.id = 1, .numPeaks = 3})
                                .write(directory.path()));
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!GetParam().lineText.empty()) {
            EXPECT_EQ(analysis.lineError(1), GetParam().lineText);
        } else {
            EXPECT_EQ(analysis.lines(1), kLines);
        }
        if (GetParam().profileText == "empty") {
            EXPECT_EQ(analysis.profile(1), std::vector<std::uint32_t>());
        } else if (!GetParam().profileText.empty()) {
            EXPECT_EQ(analysis.profileError(1), GetParam().profileText);
        } else {
            EXPECT_EQ(analysis.profile(1), kSpectrum.profile);
        }
        EXPECT_EQ(analysis.lines(2), kLines);
        EXPECT_EQ(analysis.profile(2), kSpectrum.profile);
    }
}

Bytes blockWith(std::optional<std::uint32_t> blockSize, std::optional<std::uint32_t> lineSize) {
    Bytes block = analysis_writer::spectrumBlock(kSpectrum);
    const auto put = [&block](std::size_t at, std::uint32_t value) {
        std::memcpy(block.data() + at, &value, 4);
    };
    if (blockSize) {
        put(0, *blockSize);
    }
    if (lineSize) {
        put(4, *lineSize);
    }
    return block;
}

INSTANTIATE_TEST_SUITE_P(
    Blocks, HostileSpectrum,
    testing::Values(DamagedSpectrum{"Intact", blockWith({}, {}), "", ""},
                    DamagedSpectrum{"HeaderCutShort", Bytes{1, 2}, frameError("Error reading binary header."),
                                    frameError("Error reading binary header.")},
                    DamagedSpectrum{"BlockSizeSeven", blockWith(7, {}),
                                    frameError("Block size is smaller than the block header."),
                                    frameError("Block size is smaller than the block header.")},
                    DamagedSpectrum{"LineLargerThanBlock", blockWith({}, 0xFFFFFFF9),
                                    frameError("Line spectrum is larger than its block."),
                                    frameError("Line spectrum is larger than its block.")},
                    DamagedSpectrum{"LineTooLarge", blockWith(0xFFFFFFFF, 0x40000001),
                                    frameError("Compressed spectrum size too large."),
                                    frameError("Compressed spectrum size too large.")},
                    DamagedSpectrum{"LineAtLimitBeyondTheFile", blockWith(0x40000008, 0x40000000),
                                    frameError("Error reading frame data."), "empty"},
                    DamagedSpectrum{"ProfileTooLarge", blockWith(0xFFFFFFFF, {}), "",
                                    frameError("Compressed spectrum size too large.")},
                    DamagedSpectrum{"ProfileBeyondTheFile", blockWith(5000, {}), "",
                                    frameError("Error reading frame data.")},
                    DamagedSpectrum{
                        "LineMissing", blockWith({}, 0),
                        frameError("Number of peaks [3] exceeds the line spectrum of 0 bytes."),
                        frameError("Error decompressing frame data: Destination buffer is too small")}),
    [](const auto& each) { return each.param.name; });

TEST(Kvs, PeakCountsThatContradictTheDataAreTold) {
    const std::pair<const char*, std::string> cases[] = {
        {"4", frameError("Number of peaks [4] exceeds the line spectrum of 36 bytes.")},
        {"9223372036854775807",
         frameError("Number of peaks [9223372036854775807] exceeds the line spectrum of 36 bytes.")},
        {"NULL", frameError("Number of peaks is missing for the line spectrum.")},
        {"-5", frameError("Number of peaks is missing for the line spectrum.")},
        {"'many'", frameError("NumPeaks is not an integer")}};
    for (const auto& [value, text] : cases) {
        const TempDirectory directory;
        const Analysis analysis(spectra()
                                    .parts(true, false, true)
                                    .spectrum(kSpectrum)
                                    .sql(std::string("UPDATE Frames SET NumPeaks=") + value)
                                    .write(directory.path()));
        EXPECT_EQ(analysis.lineError(1), text) << value;
    }
    // A smaller count reads the beginning: the arrays follow each other by the count, not by the size of the
    // data.
    const TempDirectory directory;
    const Analysis analysis(
        spectra().spectrum(kSpectrum).sql("UPDATE Frames SET NumPeaks=1").write(directory.path()));
    EXPECT_EQ(analysis.lines(1).positions, std::vector<double>{10.5});
}

TEST(Kvs, OpenChecksWhatItReads) {
    const std::string query = "SELECT Value FROM GlobalMetadata WHERE Key='DigitizerNumSamples'";
    const std::pair<std::function<void(AnalysisBuilder&)>, std::string> cases[] = {
        {[](AnalysisBuilder& b) { b.withoutMetadatum("DigitizerNumSamples"); },
         "Query result unexpectedly empty: " + query},
        {[](AnalysisBuilder& b) { b.metadatum("DigitizerNumSamples", "x"); },
         "Query result has wrong type: " + query},
        {[](AnalysisBuilder& b) { b.metadatum("DigitizerNumSamples", "0"); },
         "Unreasonable digitizer timing settings in global metadata."},
        {[](AnalysisBuilder& b) { b.metadatum("KovaCompressionType", "2"); },
         "KovaCompressionType 2 not supported."},
        {[](AnalysisBuilder& b) { b.metadatum("SchemaVersionMajor", "4"); },
         "KVD schema version 4.1 not supported."},
        {[](AnalysisBuilder& b) { b.metadatum("HasLineSpectra", "yes"); },
         "Query result has wrong type: SELECT Value FROM GlobalMetadata WHERE Key='HasLineSpectra'"},
        {[](AnalysisBuilder& b) { b.withoutTable("MzCalibration"); },
         "Too few columns in table MzCalibration"}};
    for (const auto& [damage, text] : cases) {
        const TempDirectory directory;
        AnalysisBuilder builder = spectra();
        damage(builder);
        EXPECT_EQ(Analysis(builder.write(directory.path())).handle, 0U);
        EXPECT_EQ(lastError(), text);
    }
    const TempDirectory mobility;
    EXPECT_EQ(Analysis(AnalysisBuilder().write(mobility.path())).handle, 0U);
    EXPECT_EQ(lastError(), mobility.string() + "/analysis.kvs doesn't exist.");
}

TEST(Kvs, ConvertsAndReportsInItsOwnSlot) {
    const TempDirectory directory;
    AnalysisBuilder builder = spectra();
    builder.spectrum(kSpectrum).frameAt(-1, {.mzCalibration = 9});
    const Analysis analysis(builder.write(directory.path()));
    std::vector<double> values = {1000.0, 2000.0};
    EXPECT_EQ(kvs_index_to_mz(analysis.handle, 1, values.data(), values.data(), 2), 1U);
    EXPECT_EQ(kvs_mz_to_index(analysis.handle, 1, values.data(), values.data(), 2), 1U);
    EXPECT_NEAR(values[0], 1000.0, 1e-6);
    EXPECT_EQ(kvs_index_to_mz(analysis.handle, 99, nullptr, nullptr, 0), 1U);
    kova_open("\xFF", 0);
    EXPECT_EQ(kvs_index_to_mz(analysis.handle, 2, values.data(), values.data(), 2), 0U);
    EXPECT_EQ(lastError(), "No m/z trafo available.");
    EXPECT_EQ(textOf(kova_get_last_error_string), "Invalid UTF-8");
    EXPECT_EQ(kvs_has_recalibrated_state(0), 0U);
    kvs_set_num_threads(1);
    kvs_close(0);
}

TEST(Kvs, MeasuredSpectrumHasItsCountsAndChecksums) {
    const std::filesystem::path analyses = KOVADATA_MEASURED_ANALYSES;
    if (!std::filesystem::exists(analyses / "manifest.json")) {
        GTEST_SKIP() << "no measured analyses in " << analyses;
    }
    const auto manifest =
        nlohmann::json::parse(std::ifstream(analyses / "manifest.json")).at("peptides_spectrum");
    const Analysis analysis(analyses / "peptides_spectrum");
    const auto add = [](uLong sum, const auto& values) {
        return crc32(sum, reinterpret_cast<const Bytef*>(values.data()),
                     static_cast<uInt>(values.size() * sizeof(values[0])));
    };
    uLong lineSum = crc32(0, nullptr, 0);
    uLong profileSum = lineSum;
    for (const auto& frame : manifest.at("frames")) {
        const auto id = frame.at("id").get<std::int64_t>();
        const Lines lines = analysis.linesWithWidths(id);
        EXPECT_EQ(lines.positions.size(), frame.at("lines").get<std::size_t>());
        lineSum = add(add(add(lineSum, lines.positions), lines.intensities), lines.widths);
        const std::vector<std::uint32_t> profile = analysis.profile(id);
        EXPECT_EQ(profile.size(), frame.at("profile_points").get<std::size_t>());
        profileSum = add(profileSum, profile);
    }
    EXPECT_EQ(lineSum, manifest.at("crc32_lines").get<uLong>());
    EXPECT_EQ(profileSum, manifest.at("crc32_profiles").get<uLong>());
}

}  // namespace
