#include "calibration/scan_range.h"
#include "calibration/transformation.h"

namespace lumo::calibration::kova {
namespace {

// 1/K0 as a straight line over the scan number, for callers that have no ramp. The order of the operations in
// each conversion fixes its rounding; none is simplified.
class ScanNumberLinearTransformator final : public virtual ITransformator, public IArrayTransformator {
public:
    ScanNumberLinearTransformator(double intercept, double slope) : a(intercept), b(slope) {}

    std::string toString() const override { return "[ ScanNumberLinearTransformator ]"; }

    double scanNumberToOneOverK0(double scanNumber) const override { return scanNumber * b + a; }
    double scanNumberToVoltage(double scanNumber) const override {
        return (scanNumber * b + a) * kVoltagePerOneOverK0;
    }
    double oneOverK0ToScanNumber(double oneOverK0) const override { return (oneOverK0 - a) / b; }
    double voltageToScanNumber(double voltage) const override {
        return (voltage / kVoltagePerOneOverK0 - a) / b;
    }

    // Deliberate: both ways pass through the scan number, which decides their rounding.
    double voltageToOneOverK0(double voltage) const override {
        return ((voltage / kVoltagePerOneOverK0 - a) / b) * b + a;
    }
    double oneOverK0ToVoltage(double oneOverK0) const override {
        return (((oneOverK0 - a) / b) * b + a) * kVoltagePerOneOverK0;
    }

    void scanNumberToOneOverK0(std::vector<double>& out, int begin, int end) const override {
        convertScanRange(out, begin, end, [this](double scan) { return scanNumberToOneOverK0(scan); });
    }
    void scanNumberToVoltage(std::vector<double>& out, int begin, int end) const override {
        convertScanRange(out, begin, end, [this](double scan) { return scanNumberToVoltage(scan); });
    }

    void scanNumbersToOneOverK0s(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [this](double scan) { return scanNumberToOneOverK0(scan); });
    }
    void scanNumbersToVoltages(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [this](double scan) { return scanNumberToVoltage(scan); });
    }
    void oneOverK0sToScanNumbers(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [this](double k) { return oneOverK0ToScanNumber(k); });
    }
    void voltagesToScanNumbers(std::span<const double> in, std::span<double> out) const override {
        convertArray(in, out, [this](double v) { return voltageToScanNumber(v); });
    }
    bool convertsAs(const ITransformator& other) const override {
        const auto* const same = dynamic_cast<const ScanNumberLinearTransformator*>(&other);
        return same != nullptr && a == same->a && b == same->b;
    }

    int getStrategy() const override { return 1; }

private:
    // Deliberate: this model has no real voltage; it is defined as this multiple of 1/K0.
    static constexpr double kVoltagePerOneOverK0 = 42.0;

    double a;
    double b;
};

}  // namespace

std::unique_ptr<ITransformator> makeScanNumberLinearTransformator(double a, double b) {
    return std::make_unique<ScanNumberLinearTransformator>(a, b);
}

}  // namespace lumo::calibration::kova
