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

}  // namespace

int checkFrames(const CommonOptions& options) {
    const FrameCheck result = FrameChecker(options.directory).run();
    const CheckedNumber numbers[] = {{"scans", "Scans", result.scans},
                                     {"peaks", "Peaks", result.peaks},
                                     {"intensity_sum", "Intensity sum", result.intensitySum},
                                     {"crc32_raw", "CRC-32", result.crc}};
    return writeReport(options, result, {"frame", "frames"}, numbers);
}

}  // namespace kova_tool
