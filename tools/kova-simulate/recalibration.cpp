#include "kova-simulate/recalibration.h"

#include <cstdio>

#include "analysis-writer/calibration_store.h"

// States differ in all that a reader must tell apart: source, completeness, and calibrations of single frames
// or none.
namespace simulator {

namespace {

using analysis_writer::CalibrationStore;
using analysis_writer::Coefficients;

std::string stateKey(std::uint32_t state) {
    char text[40];
    std::snprintf(text, sizeof text, "%08x-5a1e-4c00-8000-0000c0ffee00", state);
    return text;
}

// The acquisition's mass calibration, off by some parts per million.
Coefficients shifted(const Instrument& instrument, double ppm) {
    Coefficients coefficients = instrument.mzCalibration().coefficients;
    coefficients[1] = *coefficients[1] * (1.0 + 1e-6 * ppm);
    return coefficients;
}

void writeState(CalibrationStore& store, std::uint32_t state, bool isComplete, bool hasFrameCalibrators,
                std::uint64_t frames, const Instrument& instrument) {
    const double ppm = 2.0 * state;
    store.addState({.id = state,
                    .key = stateKey(state),
                    .source = state % 2 == 0 ? "simulated lock mass" : "simulated standards",
                    .hasFrameCalibrators = hasFrameCalibrators ? 1 : 0,
                    .positiveReferenceCalibratorId = state,
                    .negativeReferenceCalibratorId = {}});
    store.addRefMzCalibration({.state = state, .id = state, .coefficients = shifted(instrument, ppm)});
    store.addDigitizerConstants(state, *instrument.mzCalibration().digitizerTimebase,
                                *instrument.mzCalibration().digitizerDelay);
    analysis_writer::KovaCalibrationRecord mobility = instrument.mobilityCalibration();
    mobility.id = state;
    store.addKovaCalibration(state, mobility);
    const std::uint64_t mapped = isComplete ? frames : frames - 1;
    for (std::uint64_t frame = 1; frame <= mapped; ++frame) {
        const auto id = static_cast<std::int64_t>(frame);
        store.mapKovaCalibration(state, id, state);
        if (hasFrameCalibrators) {
            const auto calibration = static_cast<std::int64_t>(state * (frames + 1) + frame);
            store.addFrameMzCalibration(
                {.state = state,
                 .id = calibration,
                 .coefficients = shifted(instrument, ppm + 0.01 * static_cast<double>(frame))});
            store.mapFrameMzCalibration(state, id, calibration);
        }
    }
}

}  // namespace

void writeRecalibratedStates(const std::filesystem::path& directory, std::uint32_t states,
                             std::uint64_t frames, const Instrument& instrument) {
    CalibrationStore store(directory);
    for (std::uint32_t state = 1; state <= states; ++state) {
        const bool isComplete = state == states || state % 3 != 0;
        writeState(store, state, isComplete, state % 2 == 0, frames, instrument);
    }
    store.commit();
}

}  // namespace simulator
