#pragma once

#include "calibration/calibration_constants.h"

namespace lumo::calibration {

// Raw time as a linear function of the index: the digitizer takes a sample every `timeBase`, the first one
// after `timeDelay`. The order of the operations fixes the rounding of all masses.
class RILinear {
public:
    // Fails with std::invalid_argument when the constants are not linear ones.
    void UpdatePhysicalConstants(const ICalibrationConstantsPhysicalPtr& constants);

    double GetTimeDelay() const { return timeDelay; }
    double GetTimeBase() const { return timeBase; }
    double GetIndexOffset() const { return indexOffset; }
    void SetIndexOffset(double offset) { indexOffset = offset; }
    void AssimilateIndexOffset() {
        timeDelay += indexOffset * timeBase;
        indexOffset = 0.0;
    }
    void Adapt(double factor, double shift) {
        timeBase *= factor;
        timeDelay = timeDelay * factor + shift;
    }

    double IndexToRaw(double index) const { return (index + indexOffset) * timeBase + timeDelay; }
    double RawToIndex(double raw) const { return (raw - timeDelay) / timeBase - indexOffset; }

private:
    double timeDelay = 0.0;
    double timeBase = 1.0;
    double indexOffset = 0.0;
};

}  // namespace lumo::calibration
