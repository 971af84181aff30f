#include <string>
#include <vector>

#include "kova/cli/ranges.h"
#include "kova/failure.h"
#include "kova/output/json_object.h"
#include "kova/output/table_writer.h"
#include "kova/verbs/query_verb.h"
#include "kova/verbs/target_file.h"
#include "kova/verbs/verbs.h"

// Chromatograms. A single range of m/z is a box of the query and one target without bounds; a file gives a
// target per line.
namespace kova_tool {
namespace {

constexpr HelpText kXicHelp = {
    R"(A chromatogram of one range of m/z, or of each line of a CSV file with the columns mz_low and mz_high, or mz
and ppm; optionally mobility_low, mobility_high, time_low and time_high, where an empty cell leaves an end
open. All targets are read in one pass. The other options limit all of them. Ranges are closed.

One line per frame; the columns intensity_1, intensity_2, ... follow the lines of the file. Without --ms-level and
--frame it takes the MS1 frames, and all frames where the metadata do not tell them apart.
)",
    R"(  kova xic run.d --mz 622.02:622.04 --k0 0.98:1.02
  kova xic run.d --targets ions.csv --threads 4 --csv > chromatograms.csv
  kova xic run.d --mz 400:1200 --reduce max
)",
    "the frames cannot all be read, or the targets cannot"};

struct XicOptions : QueryOptions {
    std::string targets;
    std::string reduce = "sum";
};

// The columns of the table, whose names live here: the writer only refers to them.
class XicTable {
public:
    XicTable(std::size_t targetCount, bool isNumbered) {
        for (std::size_t i = 1; i <= targetCount; ++i) {
            names.push_back(isNumbered ? "intensity_" + std::to_string(i) : "intensity");
        }
        columns = {{"frame", "frame", 6}, {"time", "time", 10, 3}};
        for (const std::string& name : names) {
            columns.push_back({name, name, 12});
        }
    }

    // The next batch as rows of a table, or as objects with an array each.
    void write(ArrowStream& stream, OutputFormat format, OutputBuffer& out) const {
        if (format == OutputFormat::Json) {
            writeJson(stream, out);
            return;
        }
        TableWriter table(out, format, columns);
        std::vector<Cell> cells(columns.size());
        while (!out.closed() && stream.next()) {
            for (std::size_t row = 0; row < stream.rows() && !out.closed(); ++row) {
                const auto values = valuesOf(stream, row);
                cells[0] = cell(stream.column("frame").value<std::int64_t>(row));
                cells[1] = cell(stream.column("time").value<double>(row));
                std::copy(values.begin(), values.end(), cells.begin() + 2);
                table.row(cells);
            }
        }
        table.end();
    }

private:
    std::span<const std::uint64_t> valuesOf(const ArrowStream& stream, std::size_t row) const {
        return stream.column("intensity").fixedList<std::uint64_t>(row, names.size());
    }

    void writeJson(ArrowStream& stream, OutputBuffer& out) const {
        const char* separator = "[\n";
        while (!out.closed() && stream.next()) {
            for (std::size_t row = 0; row < stream.rows() && !out.closed(); ++row) {
                out << separator;
                JsonObject object(out);
                object.member("frame", cell(stream.column("frame").value<std::int64_t>(row)));
                object.member("time", cell(stream.column("time").value<double>(row)));
                object.array("intensity", valuesOf(stream, row));
                object.end();
                separator = ",\n";
            }
        }
        out << (separator[0] == '[' ? "[]\n" : "\n]\n");
    }

    std::vector<std::string> names;
    std::vector<Column> columns;
};

kvr_reduce reduceOf(const std::string& name) {
    if (name == "sum") {
        return KVR_REDUCE_SUM;
    }
    return name == "max" ? KVR_REDUCE_MAX : KVR_REDUCE_COUNT;
}

int runXic(const XicOptions& options) {
    const bool hasFile = !options.targets.empty();
    const std::vector<kvr_target> targets =
        hasFile ? readTargets(options.targets)
                : std::vector<kvr_target>{{wholeRange(), wholeRange(), wholeRange()}};
    return answer(
        options, {UsualFrames::Survey, QueryWork::WhileWriting},
        [&](kvr_run* run, const kvr_query* query, const kvr_control* control, ArrowArrayStream* filled) {
            return kvr_chromatograms(run, query, targets.data(), targets.size(), reduceOf(options.reduce),
                                     control, filled);
        },
        [&](ArrowStream& stream, OutputBuffer& out) {
            XicTable(targets.size(), hasFile).write(stream, options.format(), out);
        });
}

}  // namespace

void addXic(const Parser& app, Action& action) {
    Verb<XicOptions> verb(app, action, "xic", "Extracts chromatograms of ions", kXicHelp);
    const Parser& arguments = verb.arguments();
    XicOptions& options = verb.options();
    options.mz.clear();  // so that it is known whether it was given
    addAnalysis(arguments, options);
    const Option mz = addMzRange(arguments, options);
    arguments.option("--targets", options.targets, "CSV file with a line per target")
        .type("FILE")
        .excludes(mz);
    arguments.option("--reduce", options.reduce, "what is made of the peaks of a frame, the sum by default")
        .oneOf({"sum", "max", "count"});
    addQuery(arguments, options);
    verb.runs([](const XicOptions& o) {
        if (o.targets.empty() && o.mz.empty()) {
            throw UsageError("--mz or --targets is required");
        }
        return runXic(o);
    });
}

}  // namespace kova_tool
