#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lumo::calibration {

// Residual correction of a mass calibration. This library's convention, and the one place that knows it:
//
//     m = m0 * (1 + 1e-6 * P(clamp(m0, p0, p1)))   for p2 <= m0 <= p3,
//     m = m0                                       elsewhere,
//
// where m0 is the base model's mass, P the polynomial with coefficients in ascending order (parts per
// million), p0 and p1 the bounds of its argument, p2 and p3 the mass range in which the correction applies.
// Without coefficients, or with all of them 0, masses stay bit for bit as they are. Immutable.
//
// The inverse has no closed form. A fixed point finds it in a few steps, because a correction is a few parts
// per million and its slope is far below 1. Coefficients come from a file and may be anything, so a search by
// halving the range answers where the fixed point does not settle; it ends after a bounded number of steps
// for every input.
class CalibrationPolynomialHPC {
public:
    CalibrationPolynomialHPC(std::vector<double> coefficients, double p0, double p1, double p2, double p3);

    double Corrected(double baseMass) const;

    // The base mass whose correction is `mass`, to within 1e-12 relative. The correction jumps at the ends of
    // its range: where two base masses share a mass, the one inside the range is given; where none has it,
    // the range's nearer end.
    double Uncorrected(double mass) const;

    bool operator==(const CalibrationPolynomialHPC& other) const = default;
    std::string ToString() const;

private:
    bool InRange(double baseMass) const { return lowestMass <= baseMass && baseMass <= highestMass; }
    double Factor(double baseMass) const;
    std::optional<double> FixedPoint(double mass) const;
    double SearchRange(double mass) const;

    std::vector<double> coefficients;
    double lowestArgument;
    double highestArgument;
    double lowestMass;
    double highestMass;
};

}  // namespace lumo::calibration
