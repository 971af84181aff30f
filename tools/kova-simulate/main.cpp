#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include "common/command_line.h"
#include "common/interruption.h"
#include "common/man_page.h"
#include "common/progress.h"
#include "common/staged_output.h"
#include "kova-simulate/analysis_files.h"
#include "kova-simulate/simulator.h"
#include "kovadata/version.h"

// The command line of the simulator. The analysis is written beside its place and renamed when it is
// complete, so that what is interrupted leaves nothing.
namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

struct Arguments {
    simulator::Options options;
    std::string schema = "3.1";
    std::string format = "kvd";
    bool force = false;
    bool quiet = false;
    bool lines = false;
    bool lineWidths = false;
    bool profile = false;
};

void declare(const kova_tool_common::Parser& app, Arguments& a) {
    simulator::Options& o = a.options;
    app.option("OUT", o.out, "directory of the new analysis").required();
    app.option("--frames", o.frames, "number of frames").within(1U, 10'000'000U).showsDefault();
    app.option("--peaks-per-frame", o.peaksPerFrame, "peaks per MS1 frame, on average")
        .within(0U, 5'000'000U)
        .showsDefault();
    app.option("--msms-peaks-per-frame", o.msmsPeaksPerFrame,
               "peaks per MS/MS frame, on average; a quarter of the above by default")
        .within(0U, 5'000'000U);
    app.option("--msms-per-ms1", o.msmsPerMs1, "MS/MS frames after each MS1 frame")
        .within(0U, 100U)
        .showsDefault();
    app.option("--scans", o.scans, "mobility scans per frame").within(50U, 60'000U).showsDefault();
    app.option("--seed", o.seed, "the same seed gives the same analysis").showsDefault();
    app.option("--compression", o.compression, "1: each scan by itself, 2: each frame as a whole")
        .oneOf({"1", "2"})
        .showsDefault();
    app.option("--schema", a.schema, "schema version").oneOf({"1.0", "2.0", "3.0", "3.1"}).showsDefault();
    app.option("--zstd-level", o.zstdLevel, "compression level").within(1, 19).showsDefault();
    app.option("--format", a.format, "kvd: with ion mobility, kvs: one spectrum per frame without")
        .oneOf({"kvd", "kvs"})
        .showsDefault();
    app.flag("--line", a.lines, "kvs: write line spectra (all parts when none is chosen)");
    app.flag("--line-widths", a.lineWidths, "kvs: write line spectra with widths");
    app.flag("--profile", a.profile, "kvs: write profile spectra");
    app.option("--recalibrated", o.recalibratedStates, "write calibration.sqlite with this many states")
        .within(0U, 1000U);
    app.option("--fragments", o.fragmentList,
               "also write a CSV file: the peptide of each precursor and the m/z of its fragments");
    app.option("--threads", o.threads, "worker threads; one for each processor by default").within(1U, 256U);
    app.flag("--force", a.force, "replace an analysis that is already there");
    app.flag("--quiet", a.quiet, "print nothing");
    kova_tool_common::addManPages(app, {"kova-simulate", KOVADATA_VERSION_STRING});
    app.footer(R"(Example:
  kova-simulate run.d --frames 200 --peaks-per-frame 300000 --seed 7

Exit status:
  0    success
  1    the analysis cannot be written
  2    wrong usage
  130  interrupted; no part of the analysis is left)");
}

void complete(Arguments& a) {
    a.options.schemaMajor = a.schema[0] - '0';
    a.options.schemaMinor = a.schema[2] - '0';
    a.options.format = a.format == "kvs" ? analysis_writer::Format::kvs : analysis_writer::Format::kvd;
    if (a.lines || a.lineWidths || a.profile) {
        a.options.parts = {a.lines || a.lineWidths, a.lineWidths, a.profile};
    }
}

simulator::Summary simulateStaged(const Arguments& a) {
    simulator::Options options = a.options;
    if (!a.force) {
        simulator::refuseToReplace(options.out);
    }
    kova_tool_common::StagedOutput analysis(options.out);
    options.out = analysis.path();
    std::optional<kova_tool_common::StagedOutput> fragments;
    if (!options.fragmentList.empty()) {
        options.fragmentList = fragments.emplace(options.fragmentList).path();
    }
    const simulator::Summary summary = simulator::simulate(options);
    kova_tool_common::stopIfInterrupted();
    // The old analysis goes only now, when the new one is complete.
    simulator::removeAnalysis(a.options.out);
    analysis.publish(simulator::analysisFiles());
    if (fragments) {
        fragments->publish();
    }
    return summary;
}

void run(Arguments& a) {
    complete(a);
    kova_tool_common::catchInterruptions();
    kova_tool_common::Progress progress(a.options.frames, "frames", !a.quiet);
    a.options.onFrame = [&progress] {
        kova_tool_common::stopIfInterrupted();
        progress.advance();
    };
    const simulator::Summary summary = simulateStaged(a);
    progress.finish();
    if (!a.quiet) {
        std::printf("%s: %llu frames (%llu MS1), %llu peaks, %llu precursors\n", a.options.out.c_str(),
                    static_cast<unsigned long long>(summary.frames),
                    static_cast<unsigned long long>(summary.ms1Frames),
                    static_cast<unsigned long long>(summary.peaks),
                    static_cast<unsigned long long>(summary.precursors));
    }
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    kova_tool_common::CommandLine commandLine(
        {"kova-simulate",
         "Simulates a liquid chromatography run with ion mobility: digested proteins, isotope patterns, "
         "elution, noise, "
         "MS1 and MS/MS frames.",
         KOVADATA_VERSION_STRING});
    declare(commandLine.parser(), arguments);
    try {
        if (const std::optional<int> status = commandLine.parse(argc, argv)) {
            return *status;
        }
    } catch (const kova_tool_common::UsageError& e) {
        std::fprintf(stderr, "kova-simulate: %s\ntry: kova-simulate --help\n", e.what());
        return kUsage;
    }
    try {
        run(arguments);
        return 0;
    } catch (const kova_tool_common::Interrupted& e) {
        std::fprintf(stderr, "kova-simulate: %s\n", e.what());
        return e.exitStatus();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kova-simulate: %s\n", e.what());
        return kFailure;
    }
}
