#include <cmath>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "calibration/scan_range.h"
#include "calibration/transformation.h"
#include "diag/throw.h"
#include "logging/logger.h"
#include "math/linearly_continued_function.h"

namespace lumo::calibration::kova {
namespace {

constexpr const char* kLoggerName = "lumo.calibration.kova.LinearVoltageRampBasedTransformator";

// From a scan to 1/K0 in three steps:
//     scan --ramp--> voltage --absolute value--> u --rational function--> 1/K0.
// Ions leave the trap at a voltage, so the mobility calibration is a function of the voltage, and the ramp
// says which scan has which voltage. The rational function is used between vmin and vmax and is continued
// outside by straight lines, so that every scan has a 1/K0 and every 1/K0 a scan.
//
// What must stay true: single values and arrays go through the same expressions in the same order, so their
// bits are the same.

// 1/K0 as a rational function of the absolute value of the voltage.
struct RationalFunction {
    double c0 = 0.0;
    double c1 = 0.0;

    double value(double u) const { return 1.0 / (c1 / u + c0); }
    double inverse(double k) const { return c1 / (1.0 / k - c0); }
    double slope(double u) const { return c1 / ((c0 * u + c1) * (c0 * u + c1)); }
    bool operator==(const RationalFunction&) const = default;
};

void checkInterval(const RationalFunction& f, double vmin, double vmax) {
    if (f.c1 <= 0.0 || vmin <= 0.0 || vmax <= 0.0) {
        LUMO_THROW(std::invalid_argument("c1, vmin and vmax must be strictly positive."));
    }
    if (vmin >= vmax) {
        LUMO_THROW(std::invalid_argument("vmax must be larger than vmin."));
    }
    // The pole must not lie inside the interval.
    if (f.c0 < 0.0 && vmax >= -f.c1 / f.c0) {
        LUMO_THROW(std::invalid_argument("vmax is too large."));
    }
    if (f.slope(vmin) <= 0.0 || f.slope(vmax) <= 0.0) {
        LUMO_THROW(std::invalid_argument("Slopes at vmin and vmax must be strictly positive."));
    }
}

// Held to the range of int before the conversion, which is undefined outside of it.
int toInt(double x) {
    constexpr double lowest = std::numeric_limits<int>::min();
    constexpr double highest = std::numeric_limits<int>::max();
    return std::isnan(x) ? 0 : static_cast<int>(x < lowest ? lowest : x > highest ? highest : x);
}

using Continuation = math::LinearlyContinuedFunction<RationalFunction>;

// The frame's scan axis as a plain value, for single conversions and for loops over arrays.
struct ScanAxis {  // NOLINT(*-member-init): always made as a whole
    LinearVoltageRamp ramp;
    double transitTime = 0.0;
    double polaritySign = 1.0;
    const Continuation& continuation;

    double toVoltage(double scan) const { return ramp.scanNumToVoltageNonClipped(scan - transitTime); }
    double fromVoltage(double voltage) const {
        return ramp.voltageToScanNumNonClipped(voltage) + transitTime;
    }
    double toOneOverK0(double scan) const { return continuation.value(toVoltage(scan) * polaritySign); }
    double fromOneOverK0(double k) const { return fromVoltage(continuation.inverse(k) * polaritySign); }
};

class LinearVoltageRampBasedTransformator final : public virtual ILinearVoltageRampBasedTransformator,
                                                  public IArrayTransformator {
public:
    LinearVoltageRampBasedTransformator(const LinearVoltageRamp& voltageRamp, double scans)
        : logger(logging::Logger::getLogger(kLoggerName)),
          ramp(voltageRamp),
          polaritySign(signOf(voltageRamp)),
          transitTime(scans) {}

    std::string toString() const override;

    double scanNumberToOneOverK0(double scanNumber) const override { return axis().toOneOverK0(scanNumber); }
    double scanNumberToVoltage(double scanNumber) const override { return axis().toVoltage(scanNumber); }
    double oneOverK0ToScanNumber(double oneOverK0) const override { return axis().fromOneOverK0(oneOverK0); }
    double voltageToScanNumber(double voltage) const override { return axis().fromVoltage(voltage); }
    double voltageToOneOverK0(double voltage) const override {
        return continuation->value(voltage * polaritySign);
    }
    double oneOverK0ToVoltage(double oneOverK0) const override {
        return continuation->inverse(oneOverK0) * polaritySign;
    }
    void scanNumberToOneOverK0(std::vector<double>& out, int begin, int end) const override {
        convertScanRange(out, begin, end, [this](double scan) { return scanNumberToOneOverK0(scan); });
    }
    void scanNumberToVoltage(std::vector<double>& out, int begin, int end) const override {
        convertScanRange(out, begin, end, [this](double scan) { return scanNumberToVoltage(scan); });
    }
    void scanNumbersToOneOverK0s(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [scans = axis()](double scan) { return scans.toOneOverK0(scan); });
    }
    void scanNumbersToVoltages(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [scans = axis()](double scan) { return scans.toVoltage(scan); });
    }
    void oneOverK0sToScanNumbers(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [scans = axis()](double k) { return scans.fromOneOverK0(k); });
    }
    void voltagesToScanNumbers(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [scans = axis()](double v) { return scans.fromVoltage(v); });
    }
    bool convertsAs(const ITransformator& other) const override {
        const auto* const same = dynamic_cast<const LinearVoltageRampBasedTransformator*>(&other);
        return same != nullptr && ramp == same->ramp && transitTime == same->transitTime && f == same->f &&
               vmin == same->vmin && vmax == same->vmax;
    }
    int getStrategy() const override { return 2; }

    LinearVoltageRamp getVoltageRamp() const override { return ramp; }
    void setVoltageRamp(const LinearVoltageRamp& voltageRamp) override {
        ramp = voltageRamp;
        polaritySign = signOf(voltageRamp);
    }
    double getTransitTime() const override { return transitTime; }
    void setTransitTime(double scans) override { transitTime = scans; }
    std::pair<int, int> getSignificantScanNumberRange() const override {
        const double first = ramp.getDelay() + transitTime;
        const double last = static_cast<double>(ramp.getDelay()) + ramp.getCycles() + transitTime;
        return {toInt(std::floor(first)), toInt(std::ceil(last))};
    }
    int getPolynomialDegree() const override { return 1; }
    std::vector<double> getCoefficients() const override { return {f.c0, f.c1, vmin, vmax}; }
    void setCoefficients(const std::vector<double>& c) override;

private:
    static double signOf(const LinearVoltageRamp& voltageRamp) {
        return voltageRamp.isNegativeMode() ? -1.0 : 1.0;
    }

    ScanAxis axis() const { return {ramp, transitTime, polaritySign, *continuation}; }

    logging::Logger logger;
    LinearVoltageRamp ramp;
    double polaritySign;
    double transitTime;
    RationalFunction f;
    double vmin = 0.0;
    double vmax = 0.0;
    // Refers to `f`. Present once coefficients were accepted, which the factories see to.
    std::optional<Continuation> continuation;
};

std::string LinearVoltageRampBasedTransformator::toString() const {
    std::ostringstream text;
    text << "[ ILinearVoltageRampBasedTransformator: transit time = " << transitTime << " TOF scans\n  "
         << kova::toString(ramp) << "\n  [ coeffs = " << f.c0 << ", " << f.c1 << ", " << vmin << ", " << vmax
         << " ] ]";
    return text.str();
}

void LinearVoltageRampBasedTransformator::setCoefficients(const std::vector<double>& c) {
    if (c.size() != 4) {
        LUMO_THROW(std::invalid_argument("Only polynomials of degree 1 supported currently."));
    }
    const RationalFunction given{c[0], c[1]};
    checkInterval(given, c[2], c[3]);
    f = given;
    vmin = c[2];
    vmax = c[3];
    // The continuation may still refuse slopes whose product vanishes; the coefficients stay stored then.
    const Continuation continued(f, {vmin, f.value(vmin), f.slope(vmin)},
                                 {vmax, f.value(vmax), f.slope(vmax)});
    continuation.emplace(continued);
}

}  // namespace

std::unique_ptr<ILinearVoltageRampBasedTransformator> makeLvrTransformator(
    const LinearVoltageRamp& ramp, double transitTime, const std::vector<double>& coefficients) {
    auto transformator = std::make_unique<LinearVoltageRampBasedTransformator>(ramp, transitTime);
    transformator->setCoefficients(coefficients);
    return transformator;
}

std::unique_ptr<ILinearVoltageRampBasedTransformator> makeLvrTransformatorDummyRamp(
    const std::vector<double>& coefficients, Polarity polarity) {
    return makeLvrTransformator(makeDummyLinearVoltageRampForPolarity(polarity), 0.0, coefficients);
}

std::unique_ptr<ILinearVoltageRampBasedTransformator> makeLvrTransformatorLinear(
    const LinearVoltageRamp& ramp, double transitTime, double c0, double c1, double vmin, double vmax) {
    return makeLvrTransformator(ramp, transitTime, {c0, c1, vmin, vmax});
}

}  // namespace lumo::calibration::kova
