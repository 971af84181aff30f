#pragma once

#include <array>
#include <span>
#include <vector>

#include "analysis-writer/frame.h"
#include "kova-simulate/arrival.h"
#include "kova-simulate/detector.h"
#include "kova-simulate/yield.h"

namespace simulator {

// Turns arrivals into the peaks of frames: mobility and time-of-flight peak shapes, counting statistics,
// background. Work grows with the peaks of a frame: ions of weak arrivals are placed one by one, those of
// strong ones sample by sample.
class FrameSynthesis {
public:
    FrameSynthesis(const Instrument& instrument, const FrameRecipe& recipe);

    // The frame is valid until the next call.
    const analysis_writer::Frame& synthesise(std::span<const Arrival> arrivals, Random& random);

private:
    void addArrival(const Arrival& arrival, Random& random);
    void addWeakArrival(const Arrival& arrival, double ions, Random& random);
    void addStrongLine(const Arrival& arrival, double index, double ions, Random& random);
    void addIon(const Arrival& arrival, double index, Random& random);
    void addBackground(Random& random);
    void finishScan(analysis_writer::Scan& scan) const;

    const Instrument& instrument;
    FrameRecipe recipe;
    double scanWidth;
    analysis_writer::Frame frame;
};

}  // namespace simulator
