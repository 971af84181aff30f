#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "calibration-state/calibration_state_mode.h"
#include "kova-data-reader/database/analysis_format.h"

class CppSQLite3DB;

namespace lumo::io::calibration {

// No state of a calibration database fits the request. Other failures of the database are not of this class.
class NoMatchingCalibrationStateError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A request for a calibration state, as it was made.
struct RequestedCalibrationStateInformation {
    std::optional<std::string> key;     // of the one state that is wanted; the rest is not looked at then
    std::optional<std::string> source;  // who made the state; empty: anybody
    bool latest = true;                 // else the oldest
    bool allowIncomplete = false;       // also states that leave frames without a calibration
};

// What a complete state of an analysis has to cover.
struct AnalysisCoverage {
    std::size_t frameCount = 0;
    bool hasPositive = false;  // frames of this polarity,
    bool hasNegative = false;  // and of this one
    kova::AnalysisFormat format = kova::AnalysisFormat::Mobility;
};

// Describes which calibration state a reader is to use, and resolves that to the key of one row of table
// "CalibrationState". A value: copied freely, bound to no analysis until setAnalysisInfo().
class CalibrationStateSelector {
public:
    static CalibrationStateSelector useByUUID(const std::string& key);
    static CalibrationStateSelector useLast();
    static CalibrationStateSelector useLast(const std::string& source);
    static CalibrationStateSelector useFirst();
    static CalibrationStateSelector useFirst(const std::string& source);
    static CalibrationStateSelector useLastIncomplete(const std::string& source);

    // Whether complete states must be told from incomplete ones. That takes what setAnalysisInfo() gives: a
    // complete state maps every frame, has a reference calibration for each polarity, and mobility
    // calibrations if the format needs them.
    bool analysisInfoRequired() const;
    void setAnalysisInfo(const AnalysisCoverage& needed) { coverage = needed; }

    // Key of the chosen state. Raises NoMatchingCalibrationStateError when there is none, and
    // std::runtime_error if analysisInfoRequired() and nothing was set.
    std::string getUUID(CppSQLite3DB& db) const;

    // For log messages.
    std::string to_string() const;
    const RequestedCalibrationStateInformation& getRequestedCalibrationStateInformation() const {
        return request;
    }

private:
    explicit CalibrationStateSelector(RequestedCalibrationStateInformation requested);

    void requireKey(CppSQLite3DB& db) const;
    void requireAnalysisInfo() const;
    std::string completeStateQuery() const;
    std::string anyStateQuery() const;
    const char* order() const { return request.latest ? "DESC" : "ASC"; }
    [[noreturn]] void raiseNotFound(const char* kind) const;

    RequestedCalibrationStateInformation request;
    std::optional<AnalysisCoverage> coverage;
};

// The selector of a mode: `parameter` is the source for "first", "last" (may be empty) and "lastIncomplete",
// the key for "uuid". Empty for "off". Raises std::runtime_error.
std::optional<CalibrationStateSelector> createCalibrationStateSelector(CalibrationStateMode mode,
                                                                       const std::string& parameter);

// One selector for each of `count` analyses, from a list of no parameters, one for all, or one for each.
std::vector<std::optional<CalibrationStateSelector>> createCalibrationStateSelectors(
    CalibrationStateMode mode, std::size_t count, const std::vector<std::string>& parameters);

}  // namespace lumo::io::calibration
