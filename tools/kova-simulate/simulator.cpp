#include "kova-simulate/simulator.h"

#include <algorithm>
#include <optional>
#include <thread>

#include "kova-simulate/cycle_maker.h"
#include "kova-simulate/detector.h"
#include "kova-simulate/fragment_list.h"
#include "kova-simulate/ordered_workers.h"
#include "kova-simulate/recalibration.h"

// A run from its parts. Threads make cycles, this one writes them in order: precursors before their frames,
// the list of fragments beside them.
namespace simulator {

namespace {

using analysis_writer::AnalysisWriter;
using analysis_writer::Format;

std::size_t framesPerCycle(const Options& options) {
    return options.format == Format::kvs ? 1 : std::size_t{1} + options.msmsPerMs1;
}

Chromatography chromatographyOf(const Options& options) {
    return planChromatography(options.frames * kSecondsPerFrame,
                              static_cast<double>(framesPerCycle(options)) * kSecondsPerFrame,
                              options.peaksPerFrame);
}

unsigned threadsOf(const Options& options, std::size_t cycles) {
    const unsigned wanted = options.threads != 0 ? options.threads : std::thread::hardware_concurrency();
    return static_cast<unsigned>(std::clamp<std::size_t>(wanted, 1, std::max<std::size_t>(cycles, 1)));
}

class Run {
public:
    explicit Run(const Options& given)
        : options(given),
          random(given.seed),
          instrument(given.scans, kSamples),
          sample(instrument, chromatographyOf(given), random),
          acquisition({given.seed, given.frames, framesPerCycle(given), kSecondsPerFrame}, instrument,
                      sample),
          recipes(findRecipes(acquisition, instrument, given)),
          writer(given.out, settingsOf(given)) {
        if (!given.fragmentList.empty()) {
            fragmentList.emplace(given.fragmentList);
        }
    }

    Summary execute() {
        writer.database().addMzCalibration(instrument.mzCalibration());
        writer.database().addKovaCalibration(instrument.mobilityCalibration());
        const std::size_t cycles = acquisition.cycles();
        OrderedWorkers<MadeCycle> workers(cycles, threadsOf(options, cycles), [this] {
            return CycleMaker(acquisition, instrument, recipes, options);
        });
        for (std::size_t i = 0; i < cycles; ++i) {
            write(workers.next());
        }
        writer.finish();
        if (fragmentList) {
            fragmentList->finish();
        }
        if (options.recalibratedStates > 0) {
            writeRecalibratedStates(options.out, options.recalibratedStates, summary.frames, instrument);
        }
        return summary;
    }

private:
    void write(MadeCycle cycle) {
        const auto parent = static_cast<std::int64_t>(summary.frames) + 1;
        for (const ScheduledPrecursor& precursor : cycle.precursors) {
            writePrecursor(precursor, parent);
        }
        for (analysis_writer::EncodedFrame& frame : cycle.frames) {
            writer.addFrame(std::move(frame));
            ++summary.frames;
            options.onFrame();
        }
        ++summary.ms1Frames;
        summary.peaks += cycle.peaks;
    }

    void writePrecursor(const ScheduledPrecursor& precursor, std::int64_t parent) {
        const auto id = static_cast<std::int64_t>(++summary.precursors);
        const Ion& ion = *precursor.ion;
        if (fragmentList) {
            fragmentList->add(id, ion);
        }
        const double ions = expectedIons({ion.scan, precursor.intensity, {}}, recipes.ms1.yield);
        writer.database().addPrecursor({.id = id,
                                        .parent = parent,
                                        .scanNumber = ion.scan,
                                        .largestPeakMz = ion.largestPeakMz,
                                        .averageMz = ion.averageMz,
                                        .monoisotopicMz = ion.monoisotopicMz,
                                        .charge = ion.charge,
                                        .intensity = kCountsPerIon * ions});
        for (const std::size_t frame : precursor.frames) {
            writer.database().addZorelFrameMsMsInfo(
                {parent + 1 + static_cast<std::int64_t>(frame), id, precursor.scanBegin, precursor.scanEnd});
        }
    }

    const Options& options;
    Random random;
    Instrument instrument;
    Sample sample;
    Acquisition acquisition;
    Recipes recipes;
    AnalysisWriter writer;
    std::optional<FragmentList> fragmentList;
    Summary summary;
};

}  // namespace

Summary simulate(const Options& options) { return Run(options).execute(); }

}  // namespace simulator
