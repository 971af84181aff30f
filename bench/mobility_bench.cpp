// Scan number <-> 1/K0 and voltage through the exported calls, beside the bare formulas and the queries that
// find a frame's calibration.
#include <vector>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kova.h"

namespace {

constexpr std::size_t kCount = 10'000;

struct Analysis {
    Analysis()
        : path(fixtures::AnalysisBuilder().frame({}).write(directory.path())),
          handle(kova_open(path.c_str(), 0)) {}
    ~Analysis() { kova_close(handle); }

    fixtures::TempDirectory directory;
    std::filesystem::path path;
    std::uint64_t handle;
};

const Analysis& analysis() {
    static const Analysis shared;
    return shared;
}

// The two look-ups of each call, with statements that are compiled once.
class CalibrationQueries {
public:
    CalibrationQueries() {
        sqlite3_open_v2((analysis().path / "analysis.kvd").c_str(), &connection,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
        sqlite3_prepare_v2(connection, "SELECT KovaCalibration FROM Frames WHERE Id=?", -1, &frame, nullptr);
        sqlite3_prepare_v2(connection,
                           "SELECT Id, ModelType, C0, C1, C2, C3, C4, C5, C6, C7, C8, C9 FROM KovaCalibration"
                           " WHERE Id=?",
                           -1, &calibration, nullptr);
    }
    CalibrationQueries(const CalibrationQueries&) = delete;
    CalibrationQueries& operator=(const CalibrationQueries&) = delete;
    ~CalibrationQueries() {
        sqlite3_finalize(frame);
        sqlite3_finalize(calibration);
        sqlite3_close(connection);
    }

    bool run() {
        sqlite3_bind_int64(frame, 1, 1);
        const bool hasFrame = sqlite3_step(frame) == SQLITE_ROW;
        sqlite3_bind_int64(calibration, 1, sqlite3_column_int64(frame, 0));
        const bool hasRow = sqlite3_step(calibration) == SQLITE_ROW;
        for (int column = 2; column < 12; ++column) {
            coefficients[column - 2] = sqlite3_column_double(calibration, column);
        }
        benchmark::DoNotOptimize(coefficients);
        sqlite3_reset(frame);
        sqlite3_reset(calibration);
        return hasFrame && hasRow;
    }

private:
    sqlite3* connection = nullptr;
    sqlite3_stmt* frame = nullptr;
    sqlite3_stmt* calibration = nullptr;
    double coefficients[10] = {};
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
    const std::vector<double> in = inputs(first, last);
    std::vector<double> out(kCount);
    for (auto _ : state) {
        if (convert(analysis().handle, 1, in.data(), out.data(), kCount) != 1) {
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
    CalibrationQueries queries;
    for (auto _ : state) {
        if (!queries.run()) {
            state.SkipWithError("the calibration could not be read");
        }
        for (std::size_t i = 0; i < kCount; ++i) {
            out[i] = (ramp.*formula)(in[i]);
        }
        benchmark::ClobberMemory();
    }
}

template <double (Ramp::*formula)(double) const>
void registerPath(const std::string& name, Conversion convert, double first, double last) {
    benchmark::RegisterBenchmark((name + "_10000/floor").c_str(), bareFormula<formula>, first, last);
    benchmark::RegisterBenchmark((name + "_10000/library").c_str(), library, convert, first, last);
}

const int registered = [] {
    registerPath<&Ramp::toOneOverK0>("scannum_to_oneoverk0", kova_scannum_to_oneoverk0, 0.0, 900.0);
    registerPath<&Ramp::fromOneOverK0>("oneoverk0_to_scannum", kova_oneoverk0_to_scannum, 0.6, 1.6);
    registerPath<&Ramp::toVoltage>("scannum_to_voltage", kova_scannum_to_voltage, 0.0, 900.0);
    registerPath<&Ramp::toScan>("voltage_to_scannum", kova_voltage_to_scannum, 70.0, 190.0);
    return 0;
}();

}  // namespace
