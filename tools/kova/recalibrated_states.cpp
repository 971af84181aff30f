#include "recalibrated_states.h"

#include <filesystem>
#include <system_error>

#include "metadata_database.h"

namespace kova_tool {
namespace {

// Tables and columns that are missing read as NULL, so that stores of any age can be listed.
std::string countSql(const MetadataDatabase& database, const std::string& table) {
    return database.hasTable(table) ? "(SELECT COUNT(*) FROM " + table + " m WHERE m.CalibrationState=c.Id)"
                                    : "NULL";
}

std::string statesSql(const MetadataDatabase& database) {
    const auto columns = database.columns("CalibrationState");
    const auto column = [&](const std::string& name) {
        return columns.contains(name) ? "c." + name : "NULL";
    };
    return "SELECT " + column("Key") + "," + column("Source") + "," + column("HasFrameCalibrators") + "," +
           countSql(database, "FrameMzCalibrationMapping") + "," +
           countSql(database, "KovaCalibrationMapping") + " FROM CalibrationState c ORDER BY c.Id";
}

std::vector<RecalibratedState> readStates(const MetadataDatabase& database) {
    std::vector<RecalibratedState> states;
    MetadataQuery rows = database.query(statesSql(database));
    while (rows.next()) {
        RecalibratedState state;
        state.key = rows.text(0).value_or("");
        state.source = rows.text(1).value_or("");
        if (const auto perFrame = rows.integer(2)) {
            state.massPerFrame = *perFrame != 0;
        }
        state.massFrames = static_cast<std::uint64_t>(rows.integer(3).value_or(0));
        state.mobilityFrames = static_cast<std::uint64_t>(rows.integer(4).value_or(0));
        states.push_back(state);
    }
    return states;
}

}  // namespace

std::optional<std::vector<RecalibratedState>> readRecalibratedStates(const std::string& directory) {
    const std::filesystem::path path = std::filesystem::path(directory) / "calibration.sqlite";
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        return std::nullopt;
    }
    const MetadataDatabase database(path.string());
    return database.inTransaction([&] { return readStates(database); });
}

}  // namespace kova_tool
