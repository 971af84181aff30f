#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include "calibration/transformation.h"
#include "kovarun/arrow/builders.h"
#include "kovarun/run/optional_calibration.h"
#include "kovarun/tables/metadata_tables.h"
#include "sqlite/cppsqlite3.h"

// The table of precursors, with what other tables know about them: the time of their survey frame, and 1/K0
// of their scan by that frame's calibration. A precursor whose survey frame does not exist keeps its row,
// with nulls.
namespace lumo::run {

namespace {

// Places of the columns that 1/K0 is computed from.
constexpr std::size_t kFrameColumn = 1;
constexpr std::size_t kScanColumn = 2;

// An acquisition that could not find an m/z writes 0, so the first of these that is above 0 counts.
std::string firstKnownMz(const std::set<std::string>& names) {
    std::string cases;
    for (const char* name : {"MonoisotopicMz", "LargestPeakMz", "AverageMz"}) {
        if (names.contains(name)) {
            cases += std::string(" WHEN p.") + name + " > 0 THEN p." + name;
        }
    }
    return cases.empty() ? "NULL" : "CASE" + cases + " END";
}

// The last column holds the mobility calibration of the survey frame, until 1/K0 takes its place. As with an
// m/z, a charge of 0 stands for one that was not found.
std::vector<TableColumn> precursorColumns(const std::set<std::string>& names,
                                          const std::set<std::string>& ofFrames) {
    return {present(names, "id", "Id", CellType::Integer, INT64_MIN, "p."),
            present(names, "frame", "Parent", CellType::Integer, 0, "p."),
            present(names, "scan", "ScanNumber", CellType::Real, INT64_MIN, "p."),
            {.name = "mz", .expression = firstKnownMz(names), .type = CellType::Real},
            {.name = "charge",
             .expression = names.contains("Charge") ? "NULLIF(p.Charge, 0)" : "NULL",
             .type = CellType::Integer},
            present(names, "intensity", "Intensity", CellType::Real, INT64_MIN, "p."),
            present(ofFrames, "time", "Time", CellType::Real, INT64_MIN, "f."),
            present(ofFrames, "one_over_k0", "KovaCalibration", CellType::Integer, INT64_MIN, "f.")};
}

// The values of a column of a table that was just read. The column must outlive it.
template <class T>
class Values {
public:
    explicit Values(const arrow::Column& column)
        : valid(static_cast<const std::uint8_t*>(column.buffers[0].get())),
          values(static_cast<const T*>(column.buffers[1].get())) {}

    std::optional<T> at(std::size_t row) const {
        const bool isThere =
            valid == nullptr || ((static_cast<unsigned>(valid[row / 8]) >> (row % 8)) & 1U) != 0;
        return isThere ? std::optional(values[row]) : std::nullopt;
    }

private:
    const std::uint8_t* valid;
    const T* values;
};

// Converts scan numbers of frames. Frames share calibrations, which are kept: by the id of their row or,
// where a re-calibrated state chooses them frame by frame, by frame.
class MobilityConverter {
public:
    explicit MobilityConverter(const Reader& source)
        : reader(source.frames()), isByFrame(reader.usingStateFromCalibrationFile()) {}

    std::optional<double> convert(std::int64_t frame, std::optional<std::int64_t> calibration, double scan) {
        if (!isByFrame && !calibration) {
            return std::nullopt;
        }
        const auto [found, isNew] = known.try_emplace(isByFrame ? frame : *calibration);
        if (isNew) {
            found->second = read(frame);
        }
        return found->second ? std::optional(found->second->scanNumberToOneOverK0(scan)) : std::nullopt;
    }

private:
    io::kova::KvdReader::MobTrafoPtr read(std::int64_t frame) const {
        return calibrationOrNone([&] { return reader.getMobTrafo(frame); });
    }

    io::kova::KvdReader& reader;
    const bool isByFrame;
    std::unordered_map<std::int64_t, io::kova::KvdReader::MobTrafoPtr> known;
};

// The survey frame, scan and calibration of each row are in the table already, so no precursor costs a query
// of its own.
void replaceCalibrations(const Reader& reader, Table& table) {
    const Values<std::int64_t> frames(table.rows.columns[kFrameColumn]);
    const Values<double> scans(table.rows.columns[kScanColumn]);
    const Values<std::int64_t> calibrations(table.rows.columns.back());
    MobilityConverter converter(reader);
    arrow::NumberBuilder<double> oneOverK0;
    for (std::size_t row = 0; row < static_cast<std::size_t>(table.rows.length); ++row) {
        const std::optional<std::int64_t> frame = frames.at(row);
        const std::optional<double> scan = scans.at(row);
        oneOverK0.append(frame && scan ? converter.convert(*frame, calibrations.at(row), *scan)
                                       : std::nullopt);
    }
    table.fields.back().format = std::string(1, 'g');
    table.rows.columns.back() = oneOverK0.intoColumn();
}

// Rows are found by their ids then, where the table is as it should be: of hundreds of thousands, a few.
std::string conditionOn(std::optional<std::span<const std::int64_t>> ids, const std::string& column) {
    if (!ids) {
        return "";
    }
    std::string list;
    for (const std::int64_t id : *ids) {
        list += list.empty() ? "" : ",";
        list += std::to_string(id);
    }
    return "WHERE " + column + " IN (" + list + ") ";
}

}  // namespace

// The survey frame's mobility calibration is read as the last column, in the same query, and replaced by the
// 1/K0 that it gives.
Table readPrecursors(const Reader& reader, std::optional<std::span<const std::int64_t>> ids) {
    CppSQLite3DB& db = *reader.analysis().getSQLiteDb();
    const std::set<std::string> names = columnsOf(db, "Precursors");
    const std::set<std::string> ofFrames = columnsOf(db, "Frames");
    const std::vector<TableColumn> columns = precursorColumns(names, ofFrames);
    Table table = names.empty() ? emptyTable(columns)
                                : readTable(db, columns,
                                            "FROM Precursors p LEFT JOIN Frames f ON f.Id = p.Parent " +
                                                conditionOn(ids, columns.front().expression) + "ORDER BY 1");
    replaceCalibrations(reader, table);
    return table;
}

}  // namespace lumo::run
