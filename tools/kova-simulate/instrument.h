#pragma once

#include <algorithm>
#include <cstdint>

#include "analysis-writer/metadata_records.h"

namespace simulator {

// The simulated instrument: its calibrations as they are stored, and the conversions that follow from them.
class Instrument {
public:
    Instrument(std::uint32_t scans, std::uint32_t samples);

    std::uint32_t scanCount() const { return scans; }
    std::uint32_t sampleCount() const { return samples; }
    const analysis_writer::MzCalibrationRecord& mzCalibration() const { return mzRow; }
    const analysis_writer::KovaCalibrationRecord& mobilityCalibration() const { return mobilityRow; }

    double indexOf(double mz) const;
    double scanOf(double oneOverK0) const;

    // Standard deviation of a mobility peak, in scans.
    double mobilityWidth() const { return std::max(1.0, 0.0075 * scans); }

    // 1/K0 of an ion of this cross section in nitrogen.
    static double oneOverK0(double ccs, int charge, double mz);

    // Typical cross section of a peptide ion.
    static double peptideCcs(double mass, int charge);

private:
    std::uint32_t scans;
    std::uint32_t samples;
    analysis_writer::MzCalibrationRecord mzRow;
    analysis_writer::KovaCalibrationRecord mobilityRow;
};

}  // namespace simulator
