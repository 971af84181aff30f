#include "frame_table.h"

#include <limits>

namespace kova_tool {
namespace {

// 1 for survey frames, 2 for frames with fragment spectra, NULL if the metadata do not tell.
std::string msLevelExpression(const MetadataDatabase& database, bool hasMsMsType) {
    if (hasMsMsType) {
        return "CASE WHEN MsMsType = 0 THEN 1 WHEN MsMsType > 0 THEN 2 END";
    }
    if (database.hasTable("ZorelFrameMsMsInfo")) {
        return "CASE WHEN Id IN (SELECT Frame FROM ZorelFrameMsMsInfo) THEN 2 ELSE 1 END";
    }
    return "NULL";
}

// Which columns there are depends on the schema version and on the program that wrote the analysis.
std::string selectFrames(const MetadataDatabase& database) {
    const std::set<std::string> present = database.columns("Frames");
    std::string sql = "SELECT Id";
    for (const char* column : {"Time", "Polarity", "NumScans", "NumPeaks", "SummedIntensities"}) {
        sql += present.contains(column) ? std::string(", ") + column : std::string(", NULL");
    }
    return sql + ", " + msLevelExpression(database, present.contains("MsMsType")) + " FROM Frames";
}

template <class Unsigned>
std::optional<Unsigned> count(std::optional<std::int64_t> value) {
    constexpr std::uint64_t kLargest = std::numeric_limits<Unsigned>::max();
    if (!value || *value < 0 || static_cast<std::uint64_t>(*value) > kLargest) {
        return std::nullopt;
    }
    return static_cast<Unsigned>(*value);
}

FrameRow currentRow(const MetadataQuery& rows) {
    FrameRow row;
    row.id = rows.integer(0).value_or(0);
    row.time = rows.real(1);
    row.polarity = rows.text(2);
    row.scans = count<std::uint32_t>(rows.integer(3));
    row.peaks = count<std::uint64_t>(rows.integer(4));
    row.intensitySum = count<std::uint64_t>(rows.integer(5));
    if (const auto level = rows.integer(6)) {
        row.msLevel = static_cast<int>(*level);
    }
    return row;
}

}  // namespace

std::vector<FrameRow> readFrameTable(const MetadataDatabase& database) {
    return database.inTransaction([&] {
        std::vector<FrameRow> frames;
        MetadataQuery rows = database.query(selectFrames(database) + " ORDER BY Id");
        while (rows.next()) {
            frames.push_back(currentRow(rows));
        }
        return frames;
    });
}

FrameRow readFrameRow(const MetadataDatabase& database, std::int64_t id) {
    MetadataQuery rows = database.query(selectFrames(database) + " WHERE Id = " + std::to_string(id));
    if (rows.next()) {
        return currentRow(rows);
    }
    FrameRow unknown;
    unknown.id = id;
    return unknown;
}

}  // namespace kova_tool
