#include <chrono>
#include <numeric>
#include <string>
#include <vector>

#include "analysis_handle.h"
#include "check_report.h"
#include "metadata_database.h"
#include "spectrum_reader.h"

namespace kova_tool {
namespace {

using Clock = std::chrono::steady_clock;

struct SpectrumCheck : CheckTally {
    std::uint64_t lines = 0;
    std::uint64_t profilePoints = 0;
    std::uint64_t profileSum = 0;
    std::uint32_t crcLines = 0;
    std::uint32_t crcProfiles = 0;
};

class SpectrumChecker {
public:
    explicit SpectrumChecker(const std::string& directory)
        : SpectrumChecker(directory, MetadataDatabase(metadataPath(directory, AnalysisFormat::spectra))) {}

    SpectrumCheck run() {
        checkEach(frames, "spectra", result, [this](const FrameRow& frame) { checkSpectrum(frame.id); });
        return result;
    }

private:
    SpectrumChecker(const std::string& directory, const MetadataDatabase& database)
        : analysis(directory, AnalysisFormat::spectra),
          parts(spectrumParts(database)),
          reader(analysis, parts),
          frames(readFrameTable(database)) {}

    void checkSpectrum(std::int64_t id) {
        const Clock::time_point start = Clock::now();
        LineSpectrum lines;
        std::span<const std::uint32_t> profile;
        if (parts.lines) {
            lines = reader.readLines(id);
        }
        if (parts.profiles) {
            profile = reader.readProfile(id);
        }
        result.readTime += Clock::now() - start;
        add(lines);
        add(profile);
    }

    void add(const LineSpectrum& lines) {
        result.lines += lines.positions.size();
        for (const auto bytes : {std::as_bytes(lines.positions), std::as_bytes(lines.intensities),
                                 std::as_bytes(lines.widths)}) {
            result.bytes += bytes.size();
            result.crcLines = crc32Of(result.crcLines, bytes);
        }
    }

    void add(std::span<const std::uint32_t> profile) {
        result.profilePoints += profile.size();
        result.profileSum = std::accumulate(profile.begin(), profile.end(), result.profileSum);
        result.bytes += profile.size_bytes();
        result.crcProfiles = crc32Of(result.crcProfiles, std::as_bytes(profile));
    }

    AnalysisHandle analysis;
    SpectrumParts parts;
    SpectrumReader reader;
    std::vector<FrameRow> frames;
    SpectrumCheck result;
};

}  // namespace

int checkSpectra(const CommonOptions& options) {
    const SpectrumCheck result = SpectrumChecker(options.directory).run();
    const CheckedNumber numbers[] = {{"lines", "Lines", result.lines},
                                     {"profile_points", "Profile points", result.profilePoints},
                                     {"profile_sum", "Profile sum", result.profileSum},
                                     {"crc32_lines", "CRC-32 of lines", result.crcLines},
                                     {"crc32_profiles", "CRC-32 of profiles", result.crcProfiles}};
    return writeReport(options, result, {"spectrum", "spectra"}, numbers);
}

}  // namespace kova_tool
