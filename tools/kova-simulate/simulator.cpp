#include "kova-simulate/simulator.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "kova-simulate/fragment_list.h"
#include "kova-simulate/frame_synthesis.h"
#include "kova-simulate/precursor_schedule.h"
#include "kova-simulate/recalibration.h"
#include "kova-simulate/spectra.h"

namespace simulator {

namespace {

using analysis_writer::AnalysisWriter;
using analysis_writer::Format;
using analysis_writer::Frame;
using analysis_writer::FrameRow;

analysis_writer::AnalysisSettings settingsOf(const Options& options) {
    analysis_writer::AnalysisSettings settings;
    settings.format = options.format;
    settings.schemaMajor = options.schemaMajor;
    settings.schemaMinor = options.schemaMinor;
    settings.compressionType = options.format == Format::kvs ? 3 : options.compression;
    settings.zstdLevel = options.zstdLevel;
    settings.digitizerNumSamples = kSamples;
    settings.parts = options.parts;
    return settings;
}

class Run {
public:
    explicit Run(const Options& given)
        : options(given),
          random(given.seed),
          instrument(given.scans, kSamples),
          runTime(given.frames * kSecondsPerFrame),
          sample(makeSample(instrument, runTime, random)),
          ms1(given.scans, kSamples, given.peaksPerFrame),
          msms(given.scans, kSamples,
               given.msmsPeaksPerFrame != 0 ? given.msmsPeaksPerFrame : given.peaksPerFrame / 4),
          writer(given.out, settingsOf(given)) {
        if (!given.fragmentList.empty()) {
            fragmentList.emplace(given.fragmentList);
        }
    }

    Summary execute() {
        writer.database().addMzCalibration(instrument.mzCalibration());
        writer.database().addKovaCalibration(instrument.mobilityCalibration());
        while (summary.frames < options.frames) {
            addCycle();
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
    // One MS1 frame and the MS/MS frames of the precursors found in it.
    void addCycle() {
        const std::vector<std::pair<const Ion*, double>> eluting = elutingIons(time());
        std::vector<Arrival> arrivals;
        for (const auto& [ion, intensity] : eluting) {
            arrivals.push_back({ion->scan, intensity, ion->lines});
        }
        const std::int64_t parent = nextId();
        addFrame(ms1.synthesise(arrivals, random), 0);
        ++summary.ms1Frames;
        const std::size_t left = options.frames - summary.frames;
        const std::size_t msmsFrames =
            options.format == Format::kvs ? 0 : std::min<std::size_t>(options.msmsPerMs1, left);
        if (msmsFrames > 0) {
            addMsMsFrames(parent, eluting, msmsFrames);
        }
    }

    void addMsMsFrames(std::int64_t parent, const std::vector<std::pair<const Ion*, double>>& eluting,
                       std::size_t msmsFrames) {
        const auto width = std::max<std::uint32_t>(3, static_cast<std::uint32_t>(4.0 * ms1.mobilityWidth()));
        const std::vector<ScheduledPrecursor> precursors =
            schedulePrecursors(eluting, {options.scans, msmsFrames, width}, random);
        const std::int64_t firstFrame = nextId();
        for (const ScheduledPrecursor& precursor : precursors) {
            addPrecursorRows(precursor, parent, firstFrame);
        }
        for (std::size_t frame = 0; frame < msmsFrames; ++frame) {
            addFrame(msms.synthesise(fragmentArrivals(precursors, frame), random), 8);
        }
    }

    void addPrecursorRows(const ScheduledPrecursor& precursor, std::int64_t parent, std::int64_t firstFrame) {
        const auto id = static_cast<std::int64_t>(++summary.precursors);
        const Ion& ion = *precursor.ion;
        if (fragmentList) {
            fragmentList->add(id, ion);
        }
        writer.database().addPrecursor({.id = id,
                                        .parent = parent,
                                        .scanNumber = ion.scan,
                                        .largestPeakMz = ion.largestPeakMz,
                                        .averageMz = ion.averageMz,
                                        .monoisotopicMz = ion.monoisotopicMz,
                                        .charge = ion.charge,
                                        .intensity = 1000.0 * precursor.intensity});
        for (const std::size_t frame : precursor.frames) {
            writer.database().addZorelFrameMsMsInfo(
                {firstFrame + static_cast<std::int64_t>(frame), id, precursor.scanBegin, precursor.scanEnd});
        }
    }

    std::vector<Arrival> fragmentArrivals(const std::vector<ScheduledPrecursor>& precursors,
                                          std::size_t frame) {
        std::vector<Arrival> arrivals;
        for (const ScheduledPrecursor& precursor : precursors) {
            if (std::find(precursor.frames.begin(), precursor.frames.end(), frame) !=
                precursor.frames.end()) {
                auto& lines = fragmentCache[precursor.ion];
                if (lines.empty()) {
                    lines = fragmentLines(instrument, *precursor.ion);
                }
                arrivals.push_back({precursor.ion->scan, precursor.intensity, lines});
            }
        }
        return arrivals;
    }

    std::vector<std::pair<const Ion*, double>> elutingIons(double now) const {
        const double width = std::max(2.0 * kSecondsPerFrame * (options.msmsPerMs1 + 1), runTime / 60.0);
        std::vector<std::pair<const Ion*, double>> eluting;
        for (const Ion& ion : sample) {
            if (const double share = elution(ion, now, width); share > 1e-4) {
                eluting.emplace_back(&ion, share * ion.abundance);
            }
        }
        std::stable_sort(eluting.begin(), eluting.end(),
                         [](const auto& a, const auto& b) { return a.second > b.second; });
        return eluting;
    }

    void addFrame(const Frame& frame, std::int64_t msMsType) {
        FrameRow row;
        row.id = nextId();
        row.time = time();
        row.msMsType = msMsType;
        row.t1 = 25.0 + 0.2 * std::sin(time() / 60.0);
        row.t2 = 26.0 + 0.1 * std::sin(time() / 90.0);
        for (const analysis_writer::Scan& scan : frame) {
            summary.peaks += scan.size();
        }
        if (options.format == Format::kvs) {
            writer.addSpectrum(row, spectrumOf(frame, kSamples));
        } else {
            writer.addFrame(row, frame);
        }
        ++summary.frames;
        options.onFrame();
    }

    std::int64_t nextId() const { return static_cast<std::int64_t>(summary.frames) + 1; }
    double time() const { return static_cast<double>(summary.frames) * kSecondsPerFrame; }

    const Options& options;
    Random random;
    Instrument instrument;
    double runTime;
    std::vector<Ion> sample;
    FrameSynthesis ms1;
    FrameSynthesis msms;
    std::map<const Ion*, std::vector<IsotopeLine>> fragmentCache;
    AnalysisWriter writer;
    std::optional<FragmentList> fragmentList;
    Summary summary;
};

}  // namespace

Summary simulate(const Options& options) { return Run(options).execute(); }

}  // namespace simulator
