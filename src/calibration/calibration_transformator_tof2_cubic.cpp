#include "calibration/calibration_transformator_tof.h"
#include "calibration/raw_index_linear.h"
#include "calibration/raw_mass_cubic.h"
#include "calibration/square_root.h"
#include "calibration/transformator.h"

// The cubic model, on a mass axis that is shifted by DM. It has a file of its own, for the flags.
namespace lumo::calibration {
namespace {

struct PolicyTOF2Cubic {
    static constexpr const char* kName = "CalibrationTransformatorTOF2Cubic";
    static constexpr int kStrategyId = StrategyId::kTof2Cubic;
};

using CalibrationTransformatorTOF2Cubic =
    Transformator<PolicyTOF2Cubic, RMShift<RMCubic<SquareRoot>>, RILinear>;

}  // namespace

ICalibrationTransformatorPtr createCalibrationTransformatorTOF2Cubic(
    const ICalibrationConstantsPhysicalPtr& physical, const ICalibrationConstantsFunctionalPtr& functional) {
    return std::make_shared<CalibrationTransformatorTOF2Cubic>(physical, functional);
}

}  // namespace lumo::calibration
