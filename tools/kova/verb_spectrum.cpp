#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "analysis_handle.h"
#include "command_options.h"
#include "failure.h"
#include "metadata_database.h"
#include "physical_units.h"
#include "spectrum_reader.h"
#include "table_writer.h"
#include "verbs.h"

namespace kova_tool {
namespace {

constexpr const char* kNotes =
    "For analyses without ion mobility. Prints the lines of the spectrum: their positions as they are "
    "stored, "
    "m/z,\n"
    "intensity and, where the analysis has them, widths. The column m/z is empty where the spectrum has no\n"
    "calibration.\n"
    "\n"
    "Examples:\n"
    "  kova spectrum run.d --frame 1\n"
    "  kova spectrum run.d --frame 1 --csv | sort -t, -k3 -g | tail     the strongest lines\n"
    "  kova spectrum run.d --frame 1 --profile --nonzero\n";

constexpr std::array<Column, 4> kLineColumns = {{{"index", "index", 12, 3},
                                                 {"mz", "m/z", 12, 5},
                                                 {"intensity", "intensity", 12, 1},
                                                 {"width", "width", 8, 2}}};
constexpr std::array<Column, 3> kProfileColumns = {
    {{"index", "index", 9}, {"mz", "m/z", 12, 5}, {"intensity", "intensity", 10}}};

struct SpectrumOptions : CommonOptions {
    std::int64_t frame = 0;
    bool profile = false;
    bool nonzero = false;
};

using OptionalValues = std::optional<std::vector<double>>;

// An analysis that is open, and where what is read from it goes.
class SpectrumPrinter {
public:
    explicit SpectrumPrinter(const SpectrumOptions& verbOptions)
        : options(verbOptions),
          analysis(options.directory, AnalysisFormat::spectra, options.calibration),
          reader(analysis,
                 spectrumParts(MetadataDatabase(metadataPath(options.directory, AnalysisFormat::spectra)))) {}

    void run() {
        if (options.profile) {
            printProfile();
        } else {
            printLines(reader.readLines(options.frame));
        }
        out.flush();
    }

private:
    void printLines(const LineSpectrum& lines) {
        const OptionalValues mz = mzOf({lines.positions.begin(), lines.positions.end()});
        if (options.json) {
            beginJson("lines");
            writeColumns(lines.positions, mz, lines.intensities);
            if (lines.widths.empty() && !lines.positions.empty()) {
                out << ",\n\"width\":null";
            } else {
                out << ",\n";
                writeJsonArray(out, "width", lines.widths);
            }
            out << "\n}\n";
            return;
        }
        TableWriter table(out, options.format(), kLineColumns);
        for (std::size_t i = 0; i < lines.positions.size() && !out.closed(); ++i) {
            table.row(std::array<Cell, kLineColumns.size()>{
                lines.positions[i], mz ? Cell((*mz)[i]) : Cell(), lines.intensities[i],
                lines.widths.empty() ? Cell() : Cell(lines.widths[i])});
        }
        table.end();
    }

    void printProfile() {
        std::vector<std::uint32_t> indices;
        std::vector<std::uint32_t> intensities;
        const std::span<const std::uint32_t> profile = reader.readProfile(options.frame);
        for (std::size_t i = 0; i < profile.size(); ++i) {
            if (profile[i] != 0 || !options.nonzero) {
                indices.push_back(static_cast<std::uint32_t>(i));
                intensities.push_back(profile[i]);
            }
        }
        const OptionalValues mz = mzOf({indices.begin(), indices.end()});
        if (options.json) {
            beginJson("profile");
            writeColumns(indices, mz, intensities);
            out << "\n}\n";
            return;
        }
        TableWriter table(out, options.format(), kProfileColumns);
        for (std::size_t i = 0; i < indices.size() && !out.closed(); ++i) {
            table.row(std::array<Cell, kProfileColumns.size()>{
                std::uint64_t{indices[i]}, mz ? Cell((*mz)[i]) : Cell(), std::uint64_t{intensities[i]}});
        }
        table.end();
    }

    OptionalValues mzOf(std::vector<double> indices) {
        return PhysicalUnits(analysis).indexToMz(options.frame, indices) ? OptionalValues(std::move(indices))
                                                                         : std::nullopt;
    }

    void beginJson(std::string_view kind) {
        out << "{\"frame\":" << NumberText(options.frame) << ",\"kind\":\"" << kind << "\",\n";
    }

    void writeColumns(const auto& indices, const OptionalValues& mz, const auto& intensities) {
        writeJsonArray(out, "index", indices);
        out << ",\n";
        if (mz) {
            writeJsonArray(out, "mz", *mz);
        } else {
            out << "\"mz\":null";
        }
        out << ",\n";
        writeJsonArray(out, "intensity", intensities);
    }

    const SpectrumOptions& options;
    AnalysisHandle analysis;
    SpectrumReader reader;
    OutputBuffer out;
};

int runSpectrum(const SpectrumOptions& options) {
    SpectrumPrinter(options).run();
    return kExitOk;
}

}  // namespace

void addSpectrum(CLI::App& app, Action& action) {
    CLI::App* verb =
        app.add_subcommand("spectrum", "Prints one spectrum of an analysis without ion mobility");
    verb->footer(kNotes);
    auto options = std::make_shared<SpectrumOptions>();
    addDirectory(*verb, *options);
    verb->add_option("--frame", options->frame, "id of the spectrum")->required()->type_name("N");
    CLI::Option* profile = verb->add_flag("--profile", options->profile, "print the profile, not the lines");
    verb->add_flag("--nonzero", options->nonzero, "leave out profile points without intensity")
        ->needs(profile);
    addCsvAndJson(*verb, *options);
    addCalibration(*verb, *options);
    verb->callback([options, &action] { action = [options] { return runSpectrum(*options); }; });
}

}  // namespace kova_tool
