#include "kova-simulate/cycle_maker.h"

#include <algorithm>
#include <cmath>

#include "kova-simulate/spectra.h"

// The frames of a cycle as they are written. Each frame has random numbers of its own, by its number, so the
// same options give the same bytes for any number of threads.
namespace simulator {

namespace {

// Cycles from which the recipes are found: more of small frames, in which single ions weigh more.
std::size_t sampledCycles(const Options& options) {
    return std::clamp<std::size_t>(2'000'000 / (std::size_t{options.peaksPerFrame} + 1), 6, 64);
}

std::uint32_t msmsPeaks(const Options& options) {
    return options.msmsPeaksPerFrame != 0 ? options.msmsPeaksPerFrame : options.peaksPerFrame / 4;
}

analysis_writer::FrameRecord rowOf(std::size_t frame, double time, bool isMs1) {
    analysis_writer::FrameRecord row;
    row.id = static_cast<std::int64_t>(frame) + 1;
    row.time = time;
    row.msMsType = isMs1 ? 0 : 8;
    row.t1 = 25.0 + 0.2 * std::sin(time / 60.0);
    row.t2 = 26.0 + 0.1 * std::sin(time / 90.0);
    return row;
}

}  // namespace

analysis_writer::AnalysisSettings settingsOf(const Options& options) {
    analysis_writer::AnalysisSettings settings;
    settings.format = options.format;
    settings.schemaMajor = options.schemaMajor;
    settings.schemaMinor = options.schemaMinor;
    settings.compressionType = options.format == analysis_writer::Format::kvs ? 3 : options.compression;
    settings.zstdLevel = options.zstdLevel;
    settings.digitizerNumSamples = kSamples;
    settings.parts = options.parts;
    return settings;
}

Recipes findRecipes(const Acquisition& acquisition, const Instrument& instrument, const Options& options) {
    FragmentLines fragments(instrument);
    std::vector<std::vector<Arrival>> ms1Frames;
    std::vector<std::vector<Arrival>> msmsFrames;
    const std::size_t sampled = std::min(acquisition.cycles(), sampledCycles(options));
    for (std::size_t i = 0; i < sampled; ++i) {
        const Cycle cycle = acquisition.cycle((2 * i + 1) * acquisition.cycles() / (2 * sampled));
        ms1Frames.push_back(ms1Arrivals(cycle));
        for (std::size_t frame = 0; frame < cycle.msmsFrames; ++frame) {
            msmsFrames.push_back(msmsArrivals(cycle, frame, fragments));
        }
    }
    const double width = instrument.mobilityWidth();
    return {findRecipe(ms1Frames, options.peaksPerFrame, width),
            findRecipe(msmsFrames, msmsPeaks(options), width)};
}

CycleMaker::CycleMaker(const Acquisition& theAcquisition, const Instrument& theInstrument,
                       const Recipes& recipes, const Options& theOptions)
    : acquisition(theAcquisition),
      instrument(theInstrument),
      options(theOptions),
      ms1(theInstrument, recipes.ms1),
      msms(theInstrument, recipes.msms),
      fragments(theInstrument),
      encoder(settingsOf(theOptions)) {}

MadeCycle CycleMaker::operator()(std::size_t number) {
    Cycle cycle = acquisition.cycle(number);
    MadeCycle made;
    add(made, cycle.firstFrame, true, ms1Arrivals(cycle));
    for (std::size_t frame = 0; frame < cycle.msmsFrames; ++frame) {
        add(made, cycle.firstFrame + 1 + frame, false, msmsArrivals(cycle, frame, fragments));
    }
    fragments.forgetIfMany();
    made.precursors = std::move(cycle.precursors);
    return made;
}

void CycleMaker::add(MadeCycle& made, std::size_t frame, bool isMs1, std::span<const Arrival> arrivals) {
    Random random(options.seed, frame);
    const analysis_writer::Frame& peaks = (isMs1 ? ms1 : msms).synthesise(arrivals, random);
    for (const analysis_writer::Scan& scan : peaks) {
        made.peaks += scan.size();
    }
    analysis_writer::FrameRecord row = rowOf(frame, acquisition.timeOf(frame), isMs1);
    if (options.format == analysis_writer::Format::kvs) {
        made.frames.push_back(encoder.encode(std::move(row), spectrumOf(peaks, kSamples)));
    } else {
        made.frames.push_back(encoder.encode(std::move(row), peaks));
    }
}

}  // namespace simulator
