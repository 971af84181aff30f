#include "calibration-state/calibration_state_selector.h"

#include <utility>

#include "diag/assert.h"
#include "diag/throwable.h"
#include "sqlite/cppsqlite_tools.h"
#include "sqlite/quoting.h"

// Requests for a state as SQL. Newest and oldest go by the id of the state's row, since ids have the order in
// which states were added; time stamps are texts, and each program writes its own. Sources and keys are
// quoted, whatever they contain.
namespace lumo::io::calibration {

using sqlite::sqlLiteral;

CalibrationStateSelector::CalibrationStateSelector(RequestedCalibrationStateInformation requested)
    : request(std::move(requested)) {}

CalibrationStateSelector CalibrationStateSelector::useByUUID(const std::string& key) {
    return CalibrationStateSelector({.key = key, .source = {}, .latest = true, .allowIncomplete = true});
}

CalibrationStateSelector CalibrationStateSelector::useLast() { return CalibrationStateSelector({}); }

CalibrationStateSelector CalibrationStateSelector::useLast(const std::string& source) {
    return CalibrationStateSelector({.key = {}, .source = source, .latest = true, .allowIncomplete = false});
}

CalibrationStateSelector CalibrationStateSelector::useFirst() {
    return CalibrationStateSelector({.key = {}, .source = {}, .latest = false, .allowIncomplete = false});
}

CalibrationStateSelector CalibrationStateSelector::useFirst(const std::string& source) {
    return CalibrationStateSelector({.key = {}, .source = source, .latest = false, .allowIncomplete = false});
}

CalibrationStateSelector CalibrationStateSelector::useLastIncomplete(const std::string& source) {
    return CalibrationStateSelector({.key = {}, .source = source, .latest = true, .allowIncomplete = true});
}

bool CalibrationStateSelector::analysisInfoRequired() const {
    return !request.key && !request.allowIncomplete;
}

// A key is taken as it is, once it is known to exist; everything else is a query for the first row in the
// order that was asked for.
std::string CalibrationStateSelector::getUUID(CppSQLite3DB& db) const {
    if (request.key) {
        requireKey(db);
        return *request.key;
    }
    if (!request.allowIncomplete) {
        requireAnalysisInfo();
    }
    const std::string query = request.allowIncomplete ? anyStateQuery() : completeStateQuery();
    const auto key = sqlite::simpleCheckedOptionalQuery<std::string>(db, query);
    if (!key) {
        raiseNotFound(request.allowIncomplete ? "Found no " : "Found no complete ");
    }
    return *key;
}

// A key that was asked for must be there, complete or not.
void CalibrationStateSelector::requireKey(CppSQLite3DB& db) const {
    const std::string query = "SELECT COUNT(*) FROM CalibrationState WHERE Key=" + sqlLiteral(*request.key);
    if (sqlite::simpleCheckedQuery<std::int64_t>(db, query) == 0) {
        LUMO_THROW(
            NoMatchingCalibrationStateError("Calibration state [" + *request.key + "] does not exist"));
    }
}

// A mistake of the program and not of the file: whoever asks for complete states must have described the
// analysis.
void CalibrationStateSelector::requireAnalysisInfo() const {
    if (!coverage) {
        LUMO_THROW(std::runtime_error("Failed to set Analysis Info frame count before calling getUUID"));
    }
    if (!coverage->hasPositive && !coverage->hasNegative) {
        LUMO_THROW(std::runtime_error("Failed to set Analysis Info polarity before calling getUUID"));
    }
}

std::string CalibrationStateSelector::anyStateQuery() const {
    // Without a source every state will do.
    const std::string condition = request.source ? "c.Source=" + sqlLiteral(*request.source) : "1";
    return "SELECT c.Key FROM CalibrationState c WHERE " + condition + " ORDER BY Id " + order() + " LIMIT 1";
}

// A state is complete when its calibrations cover the analysis: every frame is mapped to a calibration of its
// own, or there is a reference calibration for each polarity; and, with mobility, every frame is mapped to a
// mobility calibration. Frames have the ids 1 to their number, so "every frame" is: as many rows as frames,
// and the greatest id is that number.
//
// A source stands in the query twice. AND binds closer than OR, so the first one holds for states with
// calibrations of single frames only; the second holds for all.
std::string CalibrationStateSelector::completeStateQuery() const {
    LUMO_ASSERT(coverage);
    const std::string frames = std::to_string(coverage->frameCount);
    std::string query = "SELECT c.Key FROM CalibrationState c WHERE (";
    if (request.source) {
        query += "c.Source=" + sqlLiteral(*request.source) + " AND ";
    }
    query +=
        "(c.HasFrameCalibrators=1"
        " AND (SELECT MAX(FrameId) FROM FrameMzCalibrationMapping mp WHERE mp.CalibrationState=c.Id)=" +
        frames +
        " AND (SELECT COUNT(*) FROM FrameMzCalibrationMapping mp WHERE mp.CalibrationState=c.Id)=" + frames +
        ")";
    query += " OR (c.HasFrameCalibrators=0 ";
    query += coverage->hasNegative ? "AND c.NegativeReferenceCalibratorId IS NOT NULL " : " ";
    query += coverage->hasPositive ? "AND c.PositiveReferenceCalibratorId IS NOT NULL) )" : ") )";
    if (coverage->format == kova::AnalysisFormat::Mobility) {
        query +=
            " AND (SELECT MAX(FrameId) FROM KovaCalibrationMapping"
            " WHERE KovaCalibrationMapping.CalibrationState=c.Id)=" +
            frames +
            " AND (SELECT COUNT(*) FROM KovaCalibrationMapping"
            " WHERE KovaCalibrationMapping.CalibrationState=c.Id)=" +
            frames;
    }
    if (request.source) {
        query += " AND c.Source=" + sqlLiteral(*request.source);
    }
    return query + " ORDER BY Id " + order() + " LIMIT 1";
}

void CalibrationStateSelector::raiseNotFound(const char* kind) const {
    const std::string source = request.source ? " with source '" + *request.source + "'" : "";
    LUMO_THROW(NoMatchingCalibrationStateError(kind + std::string(request.latest ? "latest" : "first") +
                                               " calibration state" + source));
}

std::string CalibrationStateSelector::to_string() const {
    if (request.key) {
        return "Using calibration state with uuid [" + *request.key + "]";
    }
    return std::string("Using ") + (request.latest ? "latest " : "first ") +
           (request.allowIncomplete ? "" : "complete ") + "calibration state" +
           (request.source ? " with source [" + *request.source + "]" : "");
}

}  // namespace lumo::io::calibration

LUMO_THROWABLE(lumo::io::calibration::NoMatchingCalibrationStateError);
