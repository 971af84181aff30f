#pragma once

#include <cstdint>
#include <span>

#include "kova/run/frame_table.h"

namespace kova_tool {

// Conversions to physical units by the calibrations of a frame. A frame without the calibration is common, so
// that is an answer and no failure. A calibration that the metadata name and that cannot be used is reported
// on standard error, once for each of the two kinds.
class PhysicalUnits {
public:
    // The run must outlive this object.
    explicit PhysicalUnits(const Run& openRun) : run(openRun) {}

    // Convert in place. false: there are no such units for this frame, and the values are unspecified.
    bool indexToMz(const FrameRow& frame, std::span<double> values);
    bool scanToOneOverK0(const FrameRow& frame, std::span<double> values);

private:
    bool noteFailure(bool isCalibrationNamed, bool& isToldAlready);

    const Run& run;
    bool isMassTold = false;
    bool isMobilityTold = false;
};

}  // namespace kova_tool
