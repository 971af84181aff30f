#include "calibration/calibration_transformator_tof.h"
#include "calibration/raw_index_linear.h"
#include "calibration/raw_mass_quadratic.h"
#include "calibration/square_root.h"
#include "calibration/transformator.h"

// The quadratic model. It has a file of its own, for the flags.
namespace lumo::calibration {
namespace {

struct PolicyTOFQuadratic {
    static constexpr const char* kName = "CalibrationTransformatorTOFQuadratic";
    static constexpr int kStrategyId = StrategyId::kTofQuadratic;
};

using CalibrationTransformatorTOFQuadratic =
    Transformator<PolicyTOFQuadratic, RMQuadratic<SquareRoot>, RILinear>;

}  // namespace

ICalibrationTransformatorPtr createCalibrationTransformatorTOFQuadratic(
    const ICalibrationConstantsPhysicalPtr& physical, const ICalibrationConstantsFunctionalPtr& functional) {
    return std::make_shared<CalibrationTransformatorTOFQuadratic>(physical, functional);
}

}  // namespace lumo::calibration
