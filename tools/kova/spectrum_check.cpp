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
using Json = nlohmann::ordered_json;

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

Json toJson(const std::string& directory, const SpectrumCheck& result) {
    return {{"analysis", directory},
            {"ok", result.badFrames.empty()},
            {"spectra", result.frames()},
            {"bad_spectra", badFramesToJson(result)},
            {"lines", result.lines},
            {"profile_points", result.profilePoints},
            {"profile_sum", result.profileSum},
            {"result_bytes", result.bytes},
            {"crc32_lines", result.crcLines},
            {"crc32_profiles", result.crcProfiles},
            {"seconds", result.seconds()},
            {"gigabytes_per_second", result.gigabytesPerSecond()}};
}

void printText(const SpectrumCheck& result, OutputBuffer& out) {
    writeBadFrames(out, "spectrum", result);
    writeEntry(out, "Spectra", frameCountText(result));
    writeEntry(out, "Lines", std::to_string(result.lines));
    writeEntry(out, "Profile points", std::to_string(result.profilePoints));
    writeEntry(out, "Profile sum", std::to_string(result.profileSum));
    writeEntry(out, "CRC-32 of lines", std::to_string(result.crcLines));
    writeEntry(out, "CRC-32 of profiles", std::to_string(result.crcProfiles));
    writeEntry(out, "Read", speedText(result));
    writeEntry(out, "Result", result.badFrames.empty() ? "all is well" : "damaged");
}

}  // namespace

int checkSpectra(const CommonOptions& options) {
    const SpectrumCheck result = SpectrumChecker(options.directory).run();
    OutputBuffer out;
    if (options.json) {
        writeJson(out, toJson(options.directory, result));
    } else {
        printText(result, out);
    }
    out.flush();
    return result.badFrames.empty() ? kExitOk : kExitFailure;
}

}  // namespace kova_tool
