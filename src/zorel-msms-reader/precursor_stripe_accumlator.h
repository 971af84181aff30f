#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "calibration/i_calibration_transformator.h"
#include "process-frames/algorithm/variable_width.h"
#include "process-frames/data_frame.h"
#include "process-frames/full_profile_projector.h"

namespace lumo::io::algorithms {

// The mass calibration of a parent frame, shared by the precursors that were selected in it, and the numbers
// from it that the width model needs.
struct ParentCalibration {
    ::lumo::calibration::ICalibrationTransformatorPtr transformator;
    double tA = 0.0;      // flight time A0
    double tDelay = 0.0;  // time at index 0
    double tBase = 0.0;   // time per index step
};

// Takes those numbers out of a transformator. Raises std::runtime_error "No m/z trafo available.", "No TOF
// physical constants available." or "Expected TOF1 or TOF2 functional constants.".
ParentCalibration makeParentCalibration(::lumo::calibration::ICalibrationTransformatorPtr transformator);

// Areas of peaks take time to compute, and most callers have no use for them.
enum class PeakAreas { LeaveOut, Compute };

// The peaks of a summed profile, ascending; no areas if they were left out.
struct CentroidedSpectrum {
    std::vector<double> mz;
    std::vector<float> intensities;
    std::vector<float> areas;
};

// Sums up the scans of one precursor: its stripe, the scans [scanBegin, scanEnd), of every frame in which it
// was fragmented. The sum is a profile over all indices up to the last peak, kept sparse until somebody asks
// for it. Memory is bounded by kMaxBins.
class PrecursorStripeAccumlator {
public:
    PrecursorStripeAccumlator(std::int64_t parentId, std::int64_t begin, std::int64_t end, double scan,
                              const ParentCalibration& calibration, double D);

    std::int64_t parentFrame() const { return parent; }
    std::int64_t scanBegin() const { return firstScan; }
    std::int64_t scanEnd() const { return endScan; }
    double scanNumber() const { return centreScan; }
    const std::vector<std::int64_t>& frameIds() const { return frames; }

    void addFrameId(std::int64_t frameId) {
        frames.push_back(frameId);
        finalFrame = std::max(finalFrame, frameId);
    }

    // Forgets what was accumulated.
    void restart() { projector = {}; }

    // Adds the scans of one of its frames; those of a frame that is listed twice, twice. Indices must ascend
    // within each scan.
    void add(const lumo::algorithm::DataFrame<int, int>& scans);

    // The greatest of its frame ids. What it holds after it has been added once is the precursor's spectrum.
    std::int64_t lastFrame() const { return finalFrame; }

    std::vector<std::int32_t> profile() const { return projector.profile(); }
    CentroidedSpectrum lineSpectrum(PeakAreas areas);

private:
    std::int64_t parent;
    std::int64_t firstScan;
    std::int64_t endScan;
    double centreScan;
    std::vector<std::int64_t> frames;
    std::int64_t finalFrame = std::numeric_limits<std::int64_t>::min();
    ::lumo::calibration::ICalibrationTransformatorPtr transformator;
    lumo::algorithm::variableWidth<unsigned long> widths;
    lumo::algorithm::FullProfileProjector<int> projector;
};

}  // namespace lumo::io::algorithms
