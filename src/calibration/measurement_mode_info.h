#pragma once

#include <memory>

namespace lumo::calibration {

// How the spectra of a calibration were measured; carried along with a transformator, not used by
// conversions.
class IMeasurementModeInfo {
public:
    virtual ~IMeasurementModeInfo() = default;

    virtual int GetMode() const = 0;
    virtual int GetPolarity() const = 0;  // 0 positive, otherwise negative
    virtual int GetFirstParameter() const = 0;
    virtual int GetSecondParameter() const = 0;
};

using IMeasurementModeInfoPtr = std::shared_ptr<IMeasurementModeInfo>;

IMeasurementModeInfoPtr createMeasurementModeInfo(int mode, int polarity, int firstParameter,
                                                  int secondParameter);

}  // namespace lumo::calibration
