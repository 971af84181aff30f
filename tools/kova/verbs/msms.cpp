#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/failure.h"
#include "kova/output/message.h"
#include "kova/run/msms_reader.h"
#include "kova/verbs/mgf_file.h"
#include "kova/verbs/msms_listing.h"
#include "kova/verbs/verbs.h"

// MS/MS spectra as a list, as JSON or as an MGF file. All three take spectra one by one as the library reads
// ahead, so memory does not grow with the run.
namespace kova_tool {
namespace {

constexpr HelpText kMsmsHelp = {
    R"(For analyses in which precursors were selected and fragmented. The scans of all frames that fragment a
precursor are summed up; its peaks are those of the sum. With --profile the indices of the sum that have
an intensity stand in place of the peaks. m/z, charge, intensity and retention time of a precursor are
shown where the metadata state them.
)",
    R"(  kova msms run.d                                  all precursors, with their strongest peaks
  kova msms run.d --precursor 12 --peaks           the spectrum of one
  kova msms run.d --frame 1 --json                 those selected in one MS1 frame
  kova msms run.d --mgf run.mgf                    export for search programs
)",
    "the spectra cannot all be read, or a precursor that was named has none"};

constexpr std::size_t kShownPeaks = 5;

struct MsmsOptions : CommonOptions {
    PrecursorSelection selection;
    bool profile = false;
    bool peaks = false;
    std::optional<std::size_t> top;
    std::optional<std::string> mgf;
};

MsmsDetail detailOf(const MsmsOptions& options) {
    if (!options.peaks) {
        return MsmsDetail::Spectra;
    }
    return options.profile ? MsmsDetail::ProfilePoints : MsmsDetail::Peaks;
}

std::unique_ptr<MsmsOutput> makeOutput(const MsmsOptions& options) {
    if (options.mgf) {
        return std::make_unique<MgfFile>(*options.mgf, options.directory);
    }
    return std::make_unique<MsmsListing>(options.format(), detailOf(options),
                                         options.top.value_or(kShownPeaks));
}

// The library reads this many spectra ahead at most.
constexpr std::uint64_t kSpectraPerBatch = 256;

class MsmsPrinter {
public:
    explicit MsmsPrinter(const MsmsOptions& verbOptions)
        : options(verbOptions),
          run(options.directory, options.calibration, RunKind::Mobility),
          frames(readFrameTable(run)),
          rows(readPrecursors(run, frames)) {}

    int print() {
        LongCall call(options.work(showsProgress()), "precursors", kSpectraPerBatch);
        MsmsReader reader(run, options.profile ? KVR_SPECTRUM_PROFILE : KVR_SPECTRUM_LINES, options.selection,
                          rows, call);
        requireFrame();
        const std::unique_ptr<MsmsOutput> output = makeOutput(options);
        while (const std::optional<MsmsSpectrum> spectrum = reader.next()) {
            if (!add(*output, *spectrum)) {
                return kExitOk;  // nobody reads any more
            }
        }
        call.finish();
        output->end();
        return reportMissing() ? kExitFailure : kExitOk;
    }

private:
    bool showsProgress() const {
        return options.mgf && *options.mgf != "-" ? options.showsProgress()
                                                  : options.showsProgressBesideOutput();
    }

    bool add(MsmsOutput& output, const MsmsSpectrum& spectrum) {
        seen.insert(spectrum.precursor.id);
        // A list shows the strongest peaks anyway, and counts all of them.
        const bool isReduced = options.top && (options.peaks || options.json || options.mgf);
        return output.add(isReduced ? onlyStrongest(spectrum, *options.top) : spectrum);
    }

    // A frame that was asked for must have precursors.
    void requireFrame() const {
        const std::optional<std::int64_t> wanted = options.selection.frame;
        if (!wanted || std::ranges::find(rows, wanted, &PrecursorRow::parent) != rows.end()) {
            return;
        }
        const std::string id = std::to_string(*wanted);
        throw Failure(findFrame(frames, *wanted) == nullptr ? "there is no frame " + id
                                                            : "no precursor was selected in frame " + id);
    }

    // Precursors that were asked for by id must be there.
    bool reportMissing() const {
        bool isAnyMissing = false;
        for (const std::int64_t id : std::set(options.selection.ids.begin(), options.selection.ids.end())) {
            if (!seen.contains(id)) {
                tell("precursor " + std::to_string(id) + " has no MS/MS spectrum");
                isAnyMissing = true;
            }
        }
        return isAnyMissing;
    }

    const MsmsOptions& options;
    Run run;
    std::vector<FrameRow> frames;
    std::vector<PrecursorRow> rows;
    std::set<std::int64_t> seen;
};

}  // namespace

void addMsms(const Parser& app, Action& action) {
    Verb<MsmsOptions> verb(app, action, "msms", "Lists or exports the MS/MS spectra of precursors",
                           kMsmsHelp);
    const Parser& arguments = verb.arguments();
    MsmsOptions& options = verb.options();
    addAnalysis(arguments, options);
    const Option precursors =
        arguments.option("--precursor", options.selection.ids, "ids of precursors, all by default")
            .type("ID");
    arguments.option("--frame", options.selection.frame, "id of an MS1 frame: the precursors selected in it")
        .type("ID")
        .excludes(precursors);
    arguments.flag("--profile", options.profile, "profiles instead of peaks");
    const Option peaks =
        arguments.flag("--peaks", options.peaks, "one line per peak instead of one per precursor");
    requirePositive(
        arguments.option("--top", options.top, "no more than the N strongest peaks of each (5 in the list)")
            .type("N"));
    const Option mgf =
        arguments.option("--mgf", options.mgf, "write Mascot Generic Format to a file, or to -")
            .type("FILE")
            .excludes(peaks);
    addCsvAndJson(arguments, options);
    mgf.excludes("--csv").excludes("--json");
    addCalibration(arguments, options);
    addWork(arguments, options);
    addQuiet(arguments, options);
    verb.runs([](const MsmsOptions& o) { return MsmsPrinter(o).print(); });
}

}  // namespace kova_tool
