#pragma once

#include "analysis-writer/frame.h"
#include "kova-simulate/instrument.h"
#include "kova-simulate/random.h"

namespace simulator {

struct BackgroundPeak {
    std::uint32_t scan;
    analysis_writer::Peak peak;
};

// One peak of what is always there: mostly single ions of solvents and impurities, singly charged, at masses
// that organic molecules have, more of the light ones; and noise of the digitizer anywhere.
BackgroundPeak backgroundPeak(const Instrument& instrument, Random& random);

}  // namespace simulator
