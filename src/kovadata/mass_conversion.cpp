#include "kovadata/mass_conversion.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "diag/assert.h"
#include "diag/throw.h"

// Arrays of m/z and indices. Callers may convert an array in its own place, or into one that overlaps it in
// any way, and the two interfaces promise different things about the output of a failing call. Both are met
// by converting into an array of our own and copying it, but only where it is needed: that array costs as
// much as the conversion.
namespace lumo::io {

namespace {

using ::lumo::calibration::ICalibrationTransformator;

void convertInto(const ICalibrationTransformator& trafo, std::span<const double> in, std::span<double> out,
                 MassConversion conversion) {
    if (conversion == MassConversion::IndexToMz) {
        trafo.DIndexToMass(in, out);
    } else {
        trafo.MassToDIndex(in, out);
    }
}

// Whether the arrays share bytes without being the same array. The same array is no problem: each value is
// read before it is replaced.
bool overlapShifted(std::span<const double> in, std::span<double> out) {
    const auto source = reinterpret_cast<std::uintptr_t>(in.data());
    const auto target = reinterpret_cast<std::uintptr_t>(out.data());
    const std::uintptr_t distance = source < target ? target - source : source - target;
    return distance != 0 && distance < in.size_bytes();
}

}  // namespace

void convertMasses(const ::lumo::calibration::ICalibrationTransformatorPtr& mzTrafo,
                   std::span<const double> in, std::span<double> out, MassConversion conversion,
                   FailingOutput failing) {
    LUMO_ASSERT(in.size() == out.size());
    if (!mzTrafo) {
        LUMO_THROW(std::runtime_error("No m/z trafo available."));
    }
    // Only from index to m/z can a value have no solution; that is found out before anything is written.
    const bool willFail = failing == FailingOutput::Untouched && conversion == MassConversion::IndexToMz &&
                          mzTrafo->DIndexToMassFails(in);
    if (!willFail && !overlapShifted(in, out)) {
        convertInto(*mzTrafo, in, out, conversion);
        return;
    }
    std::vector<double> result(in.size());
    convertInto(*mzTrafo, in, result, conversion);
    std::copy(result.begin(), result.end(), out.begin());
}

}  // namespace lumo::io
