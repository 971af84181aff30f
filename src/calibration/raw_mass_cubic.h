#pragma once

#include <cmath>

#include "calibration/monotonic_range.h"
#include "calibration/raw_mass_start.h"

namespace lumo::calibration {

// t = A3 * s^3 + A2 * s^2 + S(A1) * s + A0 with the signed root s of the mass. The quadratic term is s * s,
// always positive, unlike that of the quadratic model.
//
// The inverse is an approximation with a fixed number of steps, which starts from the quadratic solution: A3
// is small in practice, and two Newton steps reach the last digits. Its result is defined by these steps, not
// by the exact zero, so neither the number of steps nor the order of the operations may change.
template <class Root>
class RMCubic : private RMStart<Root> {
public:
    void UpdateFunctionalConstants(const ICalibrationConstantsFunctionalTOF2& constants) {
        this->Update(constants);
        a3 = constants.GetA3();
    }

    double MassToRaw(double mass) const { return Polynomial(Root::root(mass)); }

    // A fixed amount of work: one step that scales the start value to the wanted time, and two Newton steps
    // that share one derivative.
    double RawToMass(double t, FailureMask& failed) const {
        const double start = this->Solve(t, failed);
        const double refined = Refine(start, t);
        // Both are computed and one is chosen, so that the loop over an array stays without branches.
        return Root::square(start <= 0.0 || a3 == 0.0 ? start : refined);
    }
    using RMStart<Root>::AlwaysSolvable;

    MassRange MonotonicRange(double mass) const {
        TurningPoints points = turningRootsOfCubic(a3, a2, rootA1);
        points.low = Root::square(points.low);
        points.high = Root::square(points.high);
        return points.intervalAround(mass);
    }
    double CentreOfUsableRange() const { return 0.0; }

private:
    using RMStart<Root>::a0;
    using RMStart<Root>::a2;
    using RMStart<Root>::rootA1;

    double Polynomial(double s) const { return ((a3 * s + a2) * s + rootA1) * s + a0; }

    double Refine(double start, double t) const {
        // Keeps the scaling step away from times at which the detector sees nothing yet.
        constexpr double kSmallestTime = 20.0;
        const double time = Polynomial(start);
        const double s1 = start * t / (time <= kSmallestTime ? kSmallestTime : time);
        const double derivative = (3.0 * a3 * s1 + 2.0 * a2) * s1 + rootA1;
        const double s2 = s1 - (Polynomial(s1) - t) / derivative;
        return s2 - (Polynomial(s2) - t) / derivative;
    }

    double a3 = 0.0;
};

// Moves the mass axis of a model: the model's mass is m + DM. Ranges of masses move with it.
template <class Model>
class RMShift : public Uncorrected {
public:
    void UpdateFunctionalConstants(const ICalibrationConstantsFunctionalPtr& constants);

    double MassToRaw(double mass) const { return model.MassToRaw(mass + dm); }
    double RawToMass(double t, FailureMask& failed) const { return model.RawToMass(t, failed) - dm; }
    bool AlwaysSolvable() const { return model.AlwaysSolvable(); }

    MassRange MonotonicRange(double mass) const {
        const auto [low, high] = model.MonotonicRange(mass + dm);
        return {low - dm, high - dm};
    }
    double CentreOfUsableRange() const { return model.CentreOfUsableRange() - dm; }

private:
    double dm = 0.0;
    Model model;
};

}  // namespace lumo::calibration
