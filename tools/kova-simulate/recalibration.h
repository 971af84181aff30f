#pragma once

#include <cstdint>
#include <filesystem>

#include "kova-simulate/instrument.h"

namespace simulator {

// Writes "calibration.sqlite" with `states` re-calibrated states of an analysis with frames 1 ... `frames`.
// Every third state is incomplete (it lacks the last frame); every second one has calibrators of its own for
// each frame. The newest is complete.
void writeRecalibratedStates(const std::filesystem::path& directory, std::uint32_t states,
                             std::uint64_t frames, const Instrument& instrument);

}  // namespace simulator
