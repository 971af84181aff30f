#include "precursor_table.h"

#include <set>

namespace kova_tool {
namespace {

// Which columns there are beside Id, Parent and ScanNumber depends on the program that wrote the analysis.
std::string selectPrecursors(const MetadataDatabase& database, const std::set<std::string>& present) {
    const std::set<std::string> ofFrames = database.columns("Frames");
    std::string sql = "SELECT p.Id";
    for (const char* column :
         {"Parent", "ScanNumber", "MonoisotopicMz", "LargestPeakMz", "AverageMz", "Charge", "Intensity"}) {
        sql += present.contains(column) ? std::string(", p.") + column : std::string(", NULL");
    }
    for (const char* column : {"Time", "Polarity"}) {
        sql += ofFrames.contains(column) ? std::string(", f.") + column : std::string(", NULL");
    }
    return sql + " FROM Precursors p LEFT JOIN Frames f ON f.Id = p.Parent";
}

std::string condition(const PrecursorSelection& selection) {
    if (selection.frame) {
        return " WHERE p.Parent = " + std::to_string(*selection.frame);
    }
    std::string list;
    for (const std::int64_t id : selection.ids) {
        list += (list.empty() ? "" : ", ") + std::to_string(id);
    }
    return list.empty() ? "" : " WHERE p.Id IN (" + list + ")";
}

// Acquisitions write 0 for an m/z that they could not find.
std::optional<double> firstKnownMz(const MetadataQuery& rows, int first, int last) {
    for (int column = first; column <= last; ++column) {
        if (const auto mz = rows.real(column); mz && *mz > 0.0) {
            return mz;
        }
    }
    return std::nullopt;
}

PrecursorRow currentRow(const MetadataQuery& rows) {
    PrecursorRow row;
    row.id = rows.integer(0).value_or(0);
    row.parent = rows.integer(1);
    row.scan = rows.real(2);
    row.mz = firstKnownMz(rows, 3, 5);
    if (const auto charge = rows.integer(6); charge && *charge != 0) {
        row.charge = charge;
    }
    row.intensity = rows.real(7);
    row.time = rows.real(8);
    row.polarity = rows.text(9);
    return row;
}

}  // namespace

std::vector<PrecursorRow> readPrecursors(const MetadataDatabase& database,
                                         const PrecursorSelection& selection) {
    return database.inTransaction([&] {
        std::vector<PrecursorRow> precursors;
        const std::set<std::string> present = database.columns("Precursors");
        if (present.empty()) {
            return precursors;
        }
        MetadataQuery rows =
            database.query(selectPrecursors(database, present) + condition(selection) + " ORDER BY p.Id");
        while (rows.next()) {
            precursors.push_back(currentRow(rows));
        }
        return precursors;
    });
}

}  // namespace kova_tool
