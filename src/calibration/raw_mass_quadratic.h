#pragma once

#include <cmath>

#include "calibration/monotonic_range.h"
#include "calibration/raw_mass_start.h"

namespace lumo::calibration {

// t = A0 + S(A1 * m) + A2 * m, with the signed root S of square_root.h: raw times below A0 give negative
// masses, and those convert back. The inverse is exact up to rounding (raw_mass_start.h).
template <class Root>
class RMQuadratic : public Uncorrected, private RMStart<Root> {
public:
    void UpdateFunctionalConstants(const ICalibrationConstantsFunctionalPtr& constants);

    double MassToRaw(double mass) const { return a0 + Root::root(a1 * mass) + a2 * mass; }
    double RawToMass(double t, FailureMask& failed) const { return Root::square(this->Solve(t, failed)); }
    using RMStart<Root>::AlwaysSolvable;

    // The branch around `mass`. RawToMass() answers from the one around mass 0.
    MassRange MonotonicRange(double mass) const {
        return turningMassesOfQuadratic(a2, rootA1).intervalAround(mass);
    }
    double CentreOfUsableRange() const { return 0.0; }

private:
    using RMStart<Root>::a0;
    using RMStart<Root>::a1;
    using RMStart<Root>::a2;
    using RMStart<Root>::rootA1;
};

}  // namespace lumo::calibration
