#include "frame_checker.h"

#include <chrono>
#include <numeric>
#include <span>
#include <string>

#include "failure.h"
#include "scan_reader.h"
#include "spectrum_reader.h"

namespace kova_tool {
namespace {

using Clock = std::chrono::steady_clock;

class ScanChecker : public FrameChecker {
public:
    explicit ScanChecker(const OpenAnalysis& analysis) : reader(analysis.handle) {}

    void check(const FrameRow& frame, CheckTally& tally) override {
        const Clock::time_point start = Clock::now();
        const std::uint32_t scans = reader.scanCount(frame);
        const ScanData data = reader.read(frame.id, 0, scans, Intensities::Measured);
        const Clock::duration elapsed = Clock::now() - start;
        if (frame.scans && reader.hasScan(frame.id, scans)) {
            throw Failure("the data hold more scans than the " + std::to_string(scans) +
                          " that table Frames states");
        }
        tally.readTime += elapsed;
        tally.scans += data.peakCounts().size();
        tally.peaks += data.peaks();
        tally.intensitySum += data.intensitySum();
        tally.addBytes(data.bytes(), tally.crcRaw);
    }

private:
    ScanReader reader;
};

class SpectrumChecker : public FrameChecker {
public:
    explicit SpectrumChecker(const OpenAnalysis& analysis)
        : parts(spectrumParts(analysis.metadata)), reader(analysis.handle, parts) {}

    void check(const FrameRow& frame, CheckTally& tally) override {
        const Clock::time_point start = Clock::now();
        const LineSpectrum lines = parts.lines ? reader.readLines(frame.id) : LineSpectrum();
        const auto profile = parts.profiles ? reader.readProfile(frame.id) : std::span<const std::uint32_t>();
        tally.readTime += Clock::now() - start;
        add(lines, tally);
        tally.profilePoints += profile.size();
        tally.profileSum = std::accumulate(profile.begin(), profile.end(), tally.profileSum);
        tally.addBytes(std::as_bytes(profile), tally.crcProfiles);
    }

private:
    static void add(const LineSpectrum& lines, CheckTally& tally) {
        tally.lines += lines.positions.size();
        for (const auto bytes : {std::as_bytes(lines.positions), std::as_bytes(lines.intensities),
                                 std::as_bytes(lines.widths.value_or(std::span<const float>()))}) {
            tally.addBytes(bytes, tally.crcLines);
        }
    }

    SpectrumParts parts;
    SpectrumReader reader;
};

}  // namespace

std::unique_ptr<FrameChecker> makeFrameChecker(const OpenAnalysis& analysis) {
    if (analysis.handle.format() == AnalysisFormat::Mobility) {
        return std::make_unique<ScanChecker>(analysis);
    }
    return std::make_unique<SpectrumChecker>(analysis);
}

}  // namespace kova_tool
