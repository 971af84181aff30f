#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace analysis_writer {

// Rows of the metadata tables. An empty optional is stored as NULL. The defaults make up a plausible analysis
// in positive mode: m/z 100 to 1700 over 400,000 samples, 1/K0 1.6 to 0.6 over 900 scans.

struct FrameRecord {
    std::int64_t id = 0;
    std::optional<double> time = 0.0;
    std::optional<std::string> polarity = "+";
    std::optional<std::int64_t> kovaId = {};
    std::optional<std::int64_t> numPeaks = {};
    std::optional<double> accumulationTime = 100.0;
    std::optional<double> rampTime = 100.0;
    std::optional<double> t1 = 25.0;
    std::optional<double> t2 = 25.0;
    std::optional<std::int64_t> mzCalibration = 1;
    std::optional<std::int64_t> kovaCalibration = 1;
    std::int64_t scanMode = 8;
    std::int64_t msMsType = 0;
    std::optional<std::int64_t> numScans = {};
    std::optional<std::int64_t> summedIntensities = {};
    std::optional<std::int64_t> maxIntensity = {};
};

using Coefficients = std::vector<std::optional<double>>;

struct MzCalibrationRecord {
    std::int64_t id = 1;
    std::optional<std::int64_t> modelType = 1;
    std::optional<double> digitizerTimebase = 0.2;
    std::optional<double> digitizerDelay = 24000.0;
    std::optional<double> t1 = 25.0;
    std::optional<double> t2 = 25.0;
    std::optional<double> dC1 = 0.0;
    std::optional<double> dC2 = 0.0;
    Coefficients coefficients = {300.0, 160000.0, 0.005, 0.0, 0.0};
};

// Coefficients of the voltage ramp model: delay, cycles, start and end voltage, transit time, degree, c0, c1
// and the voltage interval in which the calibration holds.
struct KovaCalibrationRecord {
    std::int64_t id = 1;
    std::optional<std::int64_t> modelType = 2;
    Coefficients coefficients = {1.0, 900.0, 190.0, 70.0, 33.0, 1.0, 0.01737, 115.45, 60.0, 200.0};
};

struct CalibrationInfoRecord {
    std::string polarity = "+";
    std::string name;
    std::string value;
};

struct PrecursorRecord {
    std::int64_t id = 0;
    std::optional<std::int64_t> parent = {};
    std::optional<double> scanNumber = {};
    std::optional<double> largestPeakMz = {};
    std::optional<double> averageMz = {};
    std::optional<double> monoisotopicMz = {};
    std::optional<std::int64_t> charge = {};
    std::optional<double> intensity = {};
};

struct ZorelFrameMsMsInfoRecord {
    std::int64_t frame = 0;
    std::int64_t precursor = 0;
    std::optional<std::int64_t> scanNumBegin = {};
    std::optional<std::int64_t> scanNumEnd = {};
};

}  // namespace analysis_writer
