#pragma once

#include "analysis-writer/frame_encoder.h"
#include "kova-simulate/acquisition.h"
#include "kova-simulate/frame_synthesis.h"
#include "kova-simulate/options.h"

namespace simulator {

struct Recipes {
    FrameRecipe ms1;
    FrameRecipe msms;
};

// How frames of this acquisition come to have the numbers of peaks that were asked for.
Recipes findRecipes(const Acquisition& acquisition, const Instrument& instrument, const Options& options);

struct MadeCycle {
    std::vector<analysis_writer::EncodedFrame> frames;
    std::vector<ScheduledPrecursor> precursors;
    std::uint64_t peaks = 0;
};

// Makes the frames of cycles, ready to be written. Each thread has a maker of its own; the result of a cycle
// depends on its number only.
class CycleMaker {
public:
    CycleMaker(const Acquisition& acquisition, const Instrument& instrument, const Recipes& recipes,
               const Options& options);

    MadeCycle operator()(std::size_t number);

private:
    void add(MadeCycle& made, std::size_t frame, bool isMs1, std::span<const Arrival> arrivals);

    const Acquisition& acquisition;
    const Instrument& instrument;
    const Options& options;
    FrameSynthesis ms1;
    FrameSynthesis msms;
    FragmentLines fragments;
    analysis_writer::FrameEncoder encoder;
};

analysis_writer::AnalysisSettings settingsOf(const Options& options);

}  // namespace simulator
