#include <chrono>
#include <string>
#include <vector>

#include "analysis_handle.h"
#include "check_report.h"
#include "metadata_database.h"
#include "scan_reader.h"

namespace kova_tool {
namespace {

using Clock = std::chrono::steady_clock;
using Json = nlohmann::ordered_json;

struct FrameCheck : CheckTally {
    std::uint64_t scans = 0;
    std::uint64_t peaks = 0;
    std::uint64_t intensitySum = 0;
    std::uint32_t crc = 0;
};

class FrameChecker {
public:
    explicit FrameChecker(const std::string& directory)
        : analysis(directory, AnalysisFormat::mobility),
          reader(analysis),
          frames(readFrameTable(MetadataDatabase(metadataPath(directory, AnalysisFormat::mobility)))) {}

    FrameCheck run() {
        checkEach(frames, "frames", result, [this](const FrameRow& frame) { checkFrame(frame); });
        return result;
    }

private:
    void checkFrame(const FrameRow& frame) {
        const Clock::time_point start = Clock::now();
        const std::uint32_t scans = reader.scanCount(frame);
        const ScanData data = reader.read(frame.id, 0, scans, Intensities::measured);
        const Clock::duration elapsed = Clock::now() - start;
        if (frame.scans && reader.hasScan(frame.id, scans)) {
            throw Failure("the data hold more scans than the " + std::to_string(scans) +
                          " that table Frames states");
        }
        result.readTime += elapsed;
        add(data);
    }

    void add(const ScanData& data) {
        result.scans += data.peakCounts().size();
        result.peaks += data.peaks();
        result.intensitySum += data.intensitySum();
        result.bytes += data.bytes().size();
        result.crc = crc32Of(result.crc, data.bytes());
    }

    AnalysisHandle analysis;
    ScanReader reader;
    std::vector<FrameRow> frames;
    FrameCheck result;
};

Json toJson(const std::string& directory, const FrameCheck& result) {
    return {{"analysis", directory},
            {"ok", result.badFrames.empty()},
            {"frames", result.frames()},
            {"bad_frames", badFramesToJson(result)},
            {"scans", result.scans},
            {"peaks", result.peaks},
            {"intensity_sum", result.intensitySum},
            {"result_bytes", result.bytes},
            {"crc32_raw", result.crc},
            {"seconds", result.seconds()},
            {"gigabytes_per_second", result.gigabytesPerSecond()}};
}

void printText(const FrameCheck& result, OutputBuffer& out) {
    writeBadFrames(out, "frame", result);
    writeEntry(out, "Frames", frameCountText(result));
    writeEntry(out, "Scans", std::to_string(result.scans));
    writeEntry(out, "Peaks", std::to_string(result.peaks));
    writeEntry(out, "Intensity sum", std::to_string(result.intensitySum));
    writeEntry(out, "CRC-32", std::to_string(result.crc));
    writeEntry(out, "Read", speedText(result));
    writeEntry(out, "Result", result.badFrames.empty() ? "all is well" : "damaged");
}

}  // namespace

int checkFrames(const CommonOptions& options) {
    const FrameCheck result = FrameChecker(options.directory).run();
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
