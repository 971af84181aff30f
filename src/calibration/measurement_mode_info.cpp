#include "calibration/measurement_mode_info.h"

namespace lumo::calibration {
namespace {

class MeasurementModeInfo final : public IMeasurementModeInfo {
public:
    MeasurementModeInfo(int modeNumber, int polarityFlag, int first, int second)
        : mode(modeNumber), polarity(polarityFlag), firstParameter(first), secondParameter(second) {}

    int GetMode() const override { return mode; }
    int GetPolarity() const override { return polarity; }
    int GetFirstParameter() const override { return firstParameter; }
    int GetSecondParameter() const override { return secondParameter; }

private:
    int mode;
    int polarity;
    int firstParameter;
    int secondParameter;
};

}  // namespace

IMeasurementModeInfoPtr createMeasurementModeInfo(int mode, int polarity, int firstParameter,
                                                  int secondParameter) {
    return std::make_shared<MeasurementModeInfo>(mode, polarity, firstParameter, secondParameter);
}

}  // namespace lumo::calibration
