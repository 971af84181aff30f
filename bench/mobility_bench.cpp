// Scan number <-> 1/K0 and voltage through the exported calls, beside the bare formulas.
#include <vector>

#include <benchmark/benchmark.h>

#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kova.h"

namespace {

constexpr std::size_t kCount = 1'000'000;

struct Analysis {
    Analysis()
        : handle(kova_open(fixtures::AnalysisBuilder().frame({}).write(directory.path()).c_str(), 0)) {}
    ~Analysis() { kova_close(handle); }

    fixtures::TempDirectory directory;
    std::uint64_t handle;
};

// The default calibration of the builder: ramp, transit time, c0, c1 and the straight lines outside the
// interval.
struct Ramp {
    double slope = (190.0 - 70.0) / (1.0 - 901.0);
    double intercept = (70.0 * 1.0 - 190.0 * 901.0) / (1.0 - 901.0);
    double transit = 33.0, c0 = 0.01737, c1 = 115.45, low = 60.0, high = 200.0;
    double lowValue = 1.0 / (c1 / low + c0), highValue = 1.0 / (c1 / high + c0);
    double lowSlope = c1 / ((c0 * low + c1) * (c0 * low + c1)),
           highSlope = c1 / ((c0 * high + c1) * (c0 * high + c1));

    double toVoltage(double scan) const { return (scan - transit) * slope + intercept; }
    double toScan(double voltage) const { return (voltage - intercept) / slope + transit; }
    double toOneOverK0(double scan) const {
        const double u = toVoltage(scan);
        return u <= low    ? (u - low) * lowSlope + lowValue
               : u >= high ? (u - high) * highSlope + highValue
                           : 1.0 / (c1 / u + c0);
    }
    double fromOneOverK0(double k) const {
        const double u = k <= lowValue    ? (k - lowValue) / lowSlope + low
                         : k >= highValue ? (k - highValue) / highSlope + high
                                          : c1 / (1.0 / k - c0);
        return toScan(u);
    }
};

using Conversion = decltype(&kova_scannum_to_voltage);

std::vector<double> inputs(double first, double last) {
    std::vector<double> values(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        values[i] = first + (last - first) * static_cast<double>(i) / kCount;
    }
    return values;
}

void library(benchmark::State& state, Conversion convert, double first, double last) {
    static const Analysis analysis;
    const std::vector<double> in = inputs(first, last);
    std::vector<double> out(kCount);
    for (auto _ : state) {
        if (convert(analysis.handle, 1, in.data(), out.data(), kCount) != 1) {
            state.SkipWithError("conversion failed");
        }
        benchmark::ClobberMemory();
    }
}

template <double (Ramp::*formula)(double) const>
void bareFormula(benchmark::State& state, double first, double last) {
    const std::vector<double> in = inputs(first, last);
    std::vector<double> out(kCount);
    const Ramp ramp;
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) {
            out[i] = (ramp.*formula)(in[i]);
        }
        benchmark::ClobberMemory();
    }
}

template <double (Ramp::*formula)(double) const>
void registerPath(const std::string& name, Conversion convert, double first, double last) {
    benchmark::RegisterBenchmark((name + "_1000000/floor").c_str(), bareFormula<formula>, first, last);
    benchmark::RegisterBenchmark((name + "_1000000/library").c_str(), library, convert, first, last);
}

const int registered = [] {
    registerPath<&Ramp::toOneOverK0>("scannum_to_oneoverk0", kova_scannum_to_oneoverk0, 0.0, 900.0);
    registerPath<&Ramp::fromOneOverK0>("oneoverk0_to_scannum", kova_oneoverk0_to_scannum, 0.6, 1.6);
    registerPath<&Ramp::toVoltage>("scannum_to_voltage", kova_scannum_to_voltage, 0.0, 900.0);
    registerPath<&Ramp::toScan>("voltage_to_scannum", kova_voltage_to_scannum, 70.0, 190.0);
    return 0;
}();

}  // namespace
