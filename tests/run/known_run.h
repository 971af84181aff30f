#pragma once

#include <cstdint>
#include <vector>

#include "fixtures/analysis_builder.h"
#include "run/table.h"

namespace run {

struct KnownPeak {
    std::int64_t frame;
    double time;  // NaN if the metadata do not state it
    int level;    // 0 likewise
    std::uint32_t scan;
    std::uint32_t index;
    std::uint32_t intensity;
    std::uint32_t raw;  // intensity as it was measured
    double mz;          // NaN without a calibration
    double mobility;
};

struct KnownFrame {
    std::int64_t id;
    double time;
    int level;
    std::uint32_t scans;
    std::vector<KnownPeak> peaks;
};

// What the rows of reduced targets are for.
enum class Rows { Frames, Scans };

// The value of a peak along an axis of an image.
double KnownPeak::*valueOf(std::uint32_t axisKind);

// Every peak of a run, read and converted by the functions for single frames, and everything that a run gives, computed of these
// peaks in the plainest way. The run must outlive it; queries are sound and about frames that there are.
class KnownRun {
public:
    using Values = std::vector<std::vector<double>>;

    explicit KnownRun(kvr_run* run);

    const std::vector<KnownFrame>& frames() const { return known; }
    const std::vector<KnownPeak>& peaks() const { return all; }
    bool hasMobilities() const;

    std::vector<const KnownFrame*> framesOf(const kvr_query& query) const;

    Table peakTable(const kvr_query& query) const;  // of all columns
    Values reduced(const kvr_query& query, const std::vector<kvr_target>& targets, std::uint32_t kind,
                   Rows rows) const;
    Table summedSpectrum(const kvr_query& query) const;
    Values image(const kvr_query& query, const kvr_axis& x, const kvr_axis& y, std::uint32_t kind) const;

private:
    void readFrame(KnownFrame& frame);

    // use(place of the frame in the query, peak) for the peaks in the box of the query.
    template <class Use>
    void forEach(const kvr_query& query, const Use& use) const;

    std::uint64_t handle;
    double lastIndex;
    std::vector<KnownFrame> known;
    std::vector<KnownPeak> all;
};

// Frames of two calibrations, temperatures that differ, an empty frame, and intensities that are scaled.
fixtures::AnalysisBuilder randomRun(int compression, int frames, std::uint32_t leastScans);

}  // namespace run
