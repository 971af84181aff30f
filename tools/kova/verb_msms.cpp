#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "command_options.h"
#include "common/progress.h"
#include "failure.h"
#include "message.h"
#include "mgf_file.h"
#include "msms_listing.h"
#include "msms_reader.h"
#include "open_analysis.h"
#include "physical_units.h"
#include "precursor_table.h"
#include "verbs.h"

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

// Where spectra go.
class MsmsOutput {
public:
    virtual ~MsmsOutput() = default;
    // Returns whether to go on.
    virtual bool add(const MsmsSpectrum& spectrum, std::optional<double> oneOverK0) = 0;
    virtual void end() = 0;
};

MsmsDetail detailOf(const MsmsOptions& options) {
    if (!options.peaks) {
        return MsmsDetail::Spectra;
    }
    return options.profile ? MsmsDetail::ProfilePoints : MsmsDetail::Peaks;
}

class ListOutput : public MsmsOutput {
public:
    explicit ListOutput(const MsmsOptions& options)
        : listing(out, options.format(), detailOf(options), options.top.value_or(kShownPeaks)) {}

    bool add(const MsmsSpectrum& spectrum, std::optional<double> oneOverK0) override {
        listing.add(spectrum, oneOverK0);
        return !out.closed();
    }

    void end() override {
        listing.end();
        out.flush();
    }

private:
    OutputBuffer out;
    MsmsListing listing;
};

class MgfOutput : public MsmsOutput {
public:
    explicit MgfOutput(const MsmsOptions& options) : path(*options.mgf), file(path, options.directory) {}

    bool add(const MsmsSpectrum& spectrum, std::optional<double> oneOverK0) override {
        return file.write(spectrum, oneOverK0);
    }

    void end() override {
        file.finish();
        if (file.isStandardOutput()) {
            return;
        }
        OutputBuffer out;
        out << path << ": " << NumberText(file.spectra()) << " spectra, " << NumberText(file.peaks())
            << " peaks";
        if (file.spectraLeftOut() > 0) {
            out << "; " << NumberText(file.spectraLeftOut()) << " without peaks left out";
        }
        out << '\n';
        out.flush();
    }

private:
    std::string path;
    MgfFile file;
};

std::unique_ptr<MsmsOutput> makeOutput(const MsmsOptions& options) {
    if (options.mgf) {
        return std::make_unique<MgfOutput>(options);
    }
    return std::make_unique<ListOutput>(options);
}

class MsmsPrinter {
public:
    explicit MsmsPrinter(const MsmsOptions& verbOptions)
        : options(verbOptions),
          analysis(options.directory, AnalysisFormat::Mobility, options.calibration),
          rows(readPrecursors(analysis.metadata, options.selection)),
          units(analysis.handle) {}

    int run() {
        const std::unique_ptr<MsmsOutput> output = makeOutput(options);
        try {
            if (!readInto(*output)) {
                return kExitOk;
            }
        } catch (const Failure&) {
            // The spectra before a failure are good.
            if (!seen.empty()) {
                output->end();
            }
            throw;
        }
        output->end();
        return reportMissing() ? kExitFailure : kExitOk;
    }

private:
    bool showsProgress() const {
        return options.mgf && *options.mgf != "-" ? options.showsProgress()
                                                  : options.showsProgressBesideOutput();
    }

    // false: nobody reads any more.
    bool readInto(MsmsOutput& output) {
        kova_tool_common::Progress progress(rows.size(), "precursors", showsProgress());
        bool isOpen = true;
        MsmsReader(analysis.handle, options.profile ? MsmsForm::Profile : MsmsForm::Peaks)
            .read(options.selection, rows, [&](const MsmsSpectrum& spectrum) {
                isOpen = add(output, spectrum);
                progress.advance();
                return isOpen;
            });
        return isOpen;
    }

    bool add(MsmsOutput& output, const MsmsSpectrum& spectrum) {
        seen.insert(spectrum.precursor.id);
        const std::optional<double> mobility = oneOverK0(spectrum.precursor);
        // A list shows the strongest peaks anyway, and counts all of them.
        const bool isReduced = options.top && (options.peaks || options.json || options.mgf);
        return output.add(isReduced ? onlyStrongest(spectrum, *options.top) : spectrum, mobility);
    }

    std::optional<double> oneOverK0(const PrecursorRow& precursor) {
        if (!precursor.scan || !precursor.parent) {
            return std::nullopt;
        }
        std::vector<double> value = {*precursor.scan};
        return units.scanToOneOverK0(*precursor.parent, value) ? std::optional(value[0]) : std::nullopt;
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
        if (options.selection.frame && rows.empty()) {
            tell("no precursor was selected in frame " + std::to_string(*options.selection.frame));
        }
        return isAnyMissing;
    }

    const MsmsOptions& options;
    OpenAnalysis analysis;
    std::vector<PrecursorRow> rows;
    PhysicalUnits units;
    std::set<std::int64_t> seen;
};

}  // namespace

void addMsms(CLI::App& app, Action& action) {
    Verb<MsmsOptions> verb(app, action, "msms", "Lists or exports the MS/MS spectra of precursors",
                           kMsmsHelp);
    CLI::App& arguments = verb.arguments();
    MsmsOptions& options = verb.options();
    addAnalysis(arguments, options);
    CLI::Option* precursors =
        arguments.add_option("--precursor", options.selection.ids, "ids of precursors, all by default")
            ->type_name("ID");
    arguments
        .add_option("--frame", options.selection.frame, "id of an MS1 frame: the precursors selected in it")
        ->type_name("ID")
        ->excludes(precursors);
    arguments.add_flag("--profile", options.profile, "profiles instead of peaks");
    CLI::Option* peaks =
        arguments.add_flag("--peaks", options.peaks, "one line per peak instead of one per precursor");
    arguments.add_option("--top", options.top, "no more than the N strongest peaks of each (5 in the list)")
        ->type_name("N");
    CLI::Option* mgf =
        arguments.add_option("--mgf", options.mgf, "write Mascot Generic Format to a file, or to -")
            ->type_name("FILE")
            ->excludes(peaks);
    addCsvAndJson(arguments, options);
    mgf->excludes("--csv")->excludes("--json");
    addCalibration(arguments, options);
    addQuiet(arguments, options);
    verb.runs([](const MsmsOptions& o) { return MsmsPrinter(o).run(); });
}

}  // namespace kova_tool
