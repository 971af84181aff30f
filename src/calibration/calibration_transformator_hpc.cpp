#include "calibration/calibration_transformator_hpc.h"

#include <utility>

#include "calibration/calibration_transformator_tof.h"
#include "calibration/raw_index_linear.h"
#include "calibration/raw_mass_quadratic.h"
#include "calibration/square_root.h"
#include "calibration/transformator.h"

namespace lumo::calibration {
namespace {

// A raw-mass model whose masses are corrected: the polynomial comes last on the way to a mass, and first on
// the way back. Kernels copy the model, and a polynomial owns memory, so the copies share one.
template <class Model>
class RMCorrected {
public:
    explicit RMCorrected(std::shared_ptr<const CalibrationPolynomialHPC> correction)
        : polynomial(std::move(correction)) {}

    void UpdateFunctionalConstants(const ICalibrationConstantsFunctionalPtr& constants) {
        model.UpdateFunctionalConstants(constants);
    }

    double MassToRaw(double mass) const { return model.MassToRaw(polynomial->Uncorrected(mass)); }
    double RawToMass(double t, FailureMask& failed) const {
        return polynomial->Corrected(model.RawToMass(t, failed));
    }
    bool AlwaysSolvable() const { return model.AlwaysSolvable(); }

    MassRange MonotonicRange(double mass) const { return model.MonotonicRange(mass); }
    double CentreOfUsableRange() const { return model.CentreOfUsableRange(); }
    bool SameCorrection(const RMCorrected& other) const { return *polynomial == *other.polynomial; }
    std::string DescribeCorrection() const { return ", " + polynomial->ToString(); }

private:
    Model model;
    std::shared_ptr<const CalibrationPolynomialHPC> polynomial;
};

struct PolicyHPC {
    static constexpr const char* kName = "CalibrationTransformatorHPC";
    static constexpr int kStrategyId = StrategyId::kTofQuadraticHpc;
};

using CorrectedQuadratic = RMCorrected<RMQuadratic<SquareRoot>>;
using CalibrationTransformatorHPC = Transformator<PolicyHPC, CorrectedQuadratic, RILinear>;

}  // namespace

ICalibrationTransformatorPtr createCalibrationTransformatorHPC(
    const ICalibrationTransformatorPtr& base, std::shared_ptr<const CalibrationPolynomialHPC> polynomial) {
    auto corrected = std::make_shared<CalibrationTransformatorHPC>(base->GetPhysicalConstants(),
                                                                   base->GetFunctionalConstants(),
                                                                   CorrectedQuadratic(std::move(polynomial)));
    // The offset belongs to no constants, so it does not come along with them.
    corrected->SetIndexOffset(base->GetIndexOffset());
    return corrected;
}

}  // namespace lumo::calibration
