#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "kova/cli/command_options.h"
#include "kova/failure.h"
#include "kova/output/json_object.h"
#include "kova/output/table_writer.h"
#include "kova/run/physical_units.h"
#include "kova/run/run.h"
#include "kova/run/spectrum_reader.h"
#include "kova/verbs/verbs.h"

// One spectrum of an analysis without mobility, lines or profile.
namespace kova_tool {
namespace {

constexpr HelpText kSpectrumHelp = {
    R"(For analyses without ion mobility. Prints the lines of the spectrum: their positions as they are stored, m/z,
intensity and, where the analysis has them, widths. The column m/z is empty where the spectrum has no
calibration.
)",
    R"(  kova spectrum run.d --frame 1
  kova spectrum run.d --frame 1 --csv | sort -t, -k3 -g | tail     the strongest lines
  kova spectrum run.d --frame 1 --profile --nonzero
)",
    "the spectrum cannot be read"};

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
          analysis(options.directory, options.calibration, RunKind::Spectra),
          reader(analysis) {}

    int run() {
        if (options.profile) {
            printProfile();
        } else {
            const LineColumns lines = reader.readLines(options.frame);
            print("lines", kLineColumns, lines.positions, lines.mz, lines.intensities, lines.widths);
        }
        out.flush();
        return kExitOk;
    }

private:
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
        print("profile", kProfileColumns, indices, mzOf({indices.begin(), indices.end()}), intensities, {});
    }

    void print(std::string_view kind, std::span<const Column> columns, const auto& indices, const auto& mz,
               const auto& intensities, const std::optional<std::span<const float>>& widths) {
        if (options.json) {
            writeJson(kind, indices, mz, intensities, widths);
            return;
        }
        TableWriter table(out, options.format(), columns);
        for (std::size_t i = 0; i < indices.size() && !out.closed(); ++i) {
            const std::array cells = {cell(std::optional(indices[i])), mz ? Cell((*mz)[i]) : Cell(),
                                      cell(std::optional(intensities[i])),
                                      widths ? Cell((*widths)[i]) : Cell()};
            table.row(std::span(cells).first(columns.size()));
        }
        table.end();
    }

    OptionalValues mzOf(std::vector<double> indices) {
        const std::vector<FrameRow> spectra = readFrameTable(analysis);
        const FrameRow* const spectrum = findFrame(spectra, options.frame);
        return PhysicalUnits(analysis).indexToMz(spectrum == nullptr ? FrameRow{options.frame} : *spectrum,
                                                 indices)
                   ? OptionalValues(std::move(indices))
                   : std::nullopt;
    }

    void writeJson(std::string_view kind, const auto& indices, const auto& mz, const auto& intensities,
                   std::optional<std::span<const float>> widths) {
        JsonObject object(out);
        object.member("frame", Cell(options.frame));
        object.member("kind", Cell(kind));
        object.breakLine();
        object.array("index", indices);
        object.breakLine();
        object.array("mz", mz);
        object.breakLine();
        object.array("intensity", intensities);
        object.breakLine();
        object.array("width", widths);
        object.end();
        out << '\n';
    }

    const SpectrumOptions& options;
    Run analysis;
    SpectrumReader reader;
    OutputBuffer out;
};

}  // namespace

void addSpectrum(const Parser& app, Action& action) {
    Verb<SpectrumOptions> verb(app, action, "spectrum",
                               "Prints one spectrum of an analysis without ion mobility", kSpectrumHelp);
    const Parser& arguments = verb.arguments();
    SpectrumOptions& options = verb.options();
    addAnalysis(arguments, options);
    arguments.option("--frame", options.frame, "id of the spectrum").required().type("ID");
    const Option profile = arguments.flag("--profile", options.profile, "print the profile, not the lines");
    arguments.flag("--nonzero", options.nonzero, "leave out profile points without intensity").needs(profile);
    addCsvAndJson(arguments, options);
    addCalibration(arguments, options);
    verb.runs([](const SpectrumOptions& o) { return SpectrumPrinter(o).run(); });
}

}  // namespace kova_tool
