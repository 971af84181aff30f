#include "frame_counter.h"

#include "scan_reader.h"
#include "spectrum_reader.h"

namespace kova_tool {
namespace {

void forgetCounts(FrameRow& frame) {
    frame.scans.reset();
    frame.peaks.reset();
    frame.intensitySum.reset();
}

class PeakCounter : public FrameCounter {
public:
    PeakCounter(const OpenAnalysis& analysis, CountedFrom countedFrom)
        : reader(analysis.handle), source(countedFrom) {}

    void count(FrameRow& frame) override {
        if (source == CountedFrom::DataOnly) {
            forgetCounts(frame);
        }
        if (frame.scans && frame.peaks && frame.intensitySum) {
            return;
        }
        const std::uint32_t scans = reader.scanCount(frame);
        const ScanData data = reader.read(frame.id, 0, scans, Intensities::Measured);
        frame.scans = scans;
        frame.peaks = data.peaks();
        frame.intensitySum = data.intensitySum();
    }

private:
    ScanReader reader;
    CountedFrom source;
};

// The metadata do not state sizes of profiles, so every spectrum is read.
class SpectrumCounter : public FrameCounter {
public:
    explicit SpectrumCounter(const OpenAnalysis& analysis)
        : parts(spectrumParts(analysis.metadata)), reader(analysis.handle, parts) {}

    void count(FrameRow& frame) override {
        forgetCounts(frame);
        const auto lines = parts.lines ? std::optional(reader.lineCount(frame.id)) : std::nullopt;
        frame.profilePoints = parts.profiles ? std::optional(reader.profilePoints(frame.id)) : std::nullopt;
        frame.lines = lines;
    }

private:
    SpectrumParts parts;
    SpectrumReader reader;
};

}  // namespace

std::unique_ptr<FrameCounter> makeFrameCounter(const OpenAnalysis& analysis, CountedFrom countedFrom) {
    if (analysis.handle.format() == AnalysisFormat::Mobility) {
        return std::make_unique<PeakCounter>(analysis, countedFrom);
    }
    return std::make_unique<SpectrumCounter>(analysis);
}

}  // namespace kova_tool
