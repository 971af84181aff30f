#include "zorel-msms-reader/stripe_rows.h"

#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <string>
#include <unordered_set>

#include "diag/throw.h"
#include "kova-data-reader/kvd_reader.h"
#include "logging/logger.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/cppsqlite_tools.h"

// Which scans of which frames hold a precursor's fragments, read from the analysis database. A filter becomes
// conditions of one query, and where it orders the rows, those of one parent follow each other, so its
// calibration is looked up once, and its frames ascend.
namespace lumo::io::algorithms {

namespace {

StripeRow readRow(const CppSQLite3Query& query) {
    return {query.getInt64Field(0), query.getInt64Field(1), query.getInt64Field(2),
            query.getInt64Field(3), query.getInt64Field(4), query.getFloatField(5)};
}

// Six digits after the point, in whatever locale the program runs.
std::string fixedText(double value) {
    std::array<char, std::numeric_limits<double>::max_exponent10 + 20> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 6);
    return {text.data(), result.ptr};
}

// Ids are put into the text of the query: they are integers, and may be more than a statement has parameters.
std::string joined(const std::vector<std::int64_t>& numbers) {
    std::string text;
    for (const std::int64_t number : numbers) {
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    }
    return text;
}

// Times are compared with the time of the parent, the frame in which the precursor was seen, and not with
// those of its fragments.
std::string precursorQuery(const PrecursorFilter& filter, RowOrder order) {
    std::string sql =
        "SELECT  pre.Id, pre.Parent, fmmi.Frame, fmmi.ScanNumBegin, fmmi.ScanNumEnd, pre.ScanNumber FROM "
        "Precursors pre "
        "JOIN ZorelFrameMsMsInfo fmmi ON fmmi.Precursor = pre.Id ";
    const char* link = " WHERE ";
    const auto add = [&](const std::string& condition) {
        sql += link + condition;
        link = " AND ";
    };
    if (filter.time) {
        add("pre.Id IN (SELECT DISTINCT pre.Id FROM Precursors pre JOIN Frames f ON f.Id = pre.PARENT "
            "WHERE f.Time BETWEEN " +
            fixedText(filter.time->lower) + " AND " + fixedText(filter.time->upper) + ")");
    }
    if (filter.ids) {
        add("pre.Id IN (" + joined(*filter.ids) + ")");
    }
    if (filter.parent) {
        add("pre.Parent = " + std::to_string(*filter.parent));
    }
    return order == RowOrder::AsFound ? sql : sql + " ORDER BY pre.Parent, fmmi.Frame, pre.Id";
}

}  // namespace

void requirePrecursorTable(const kova::KvdReader& reader) {
    const bool exists = sqlite::simpleCheckedQuery<bool>(
        *reader.getSQLiteDb(), "SELECT COUNT(*) FROM sqlite_master WHERE name='Precursors'");
    if (!exists) {
        const auto logger = logging::Logger::getLogger("lumo.io.algorithms.ZorelMsmsSpectraReader");
        LUMO_LOG(logger, Warn, "No Precursor table found. This is not a ZOREL analysis.");
        LUMO_THROW(std::runtime_error("No Precursor table found. This is not a ZOREL analysis"));
    }
}

// The ids of the rows are held against the filter once more: SQLite compares values of other types by rules
// of its own.
void readStripeRows(const kova::KvdReader& reader, const PrecursorFilter& filter, RowOrder order,
                    const std::function<void(const StripeRow&)>& take) {
    requirePrecursorTable(reader);
    std::unordered_set<std::int64_t> wanted;
    if (filter.ids) {
        wanted.insert(filter.ids->begin(), filter.ids->end());
    }
    const std::shared_ptr<CppSQLite3DB> db = reader.getSQLiteDb();
    for (CppSQLite3Query query = db->execQuery(precursorQuery(filter, order)); !query.eof();
         query.nextRow()) {
        const StripeRow row = readRow(query);
        if (!filter.ids || wanted.contains(row.id)) {
            take(row);
        }
    }
}

}  // namespace lumo::io::algorithms
