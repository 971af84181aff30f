#include "calibration-state/calibration_state_selector.h"

#include <cstring>

#include <gtest/gtest.h>

#include "analysis-writer/calibration_store.h"
#include "fixtures/failure.h"
#include "fixtures/temp_directory.h"
#include "sqlite/cppsqlite3.h"

namespace {

using Format = lumo::io::kova::AnalysisFormat;

using namespace lumo::io::calibration;
using analysis_writer::CalibrationStore;
using S = CalibrationStateSelector;
using Frames = std::vector<std::int64_t>;

void addState(CalibrationStore& store, const analysis_writer::CalibrationStateRecord& row,
              const Frames& mobilityFrames, const Frames& massFrames) {
    store.addState(row);
    for (const std::int64_t frame : mobilityFrames) {
        store.mapKovaCalibration(row.id, frame, 1);
    }
    for (const std::int64_t frame : massFrames) {
        store.mapFrameMzCalibration(row.id, frame, 1);
    }
}

// States for an analysis of three frames, of which only "a" and "c" are complete:
//   b  positive reference only
//   d  calibrators for each frame but the last
//   e  mobility of two frames only
//   f  newest, calibrators for frames 1, 2 and 2 again, so the count fits and the last frame is missing
TEST(CalibrationStateSelector, ChoosesStates) {
    const fixtures::TempDirectory directory;
    CalibrationStore store(directory.path());
    addState(store, {1, "a", "one", 0, 1, 1}, {1, 2, 3}, {});
    addState(store, {2, "b", "two", 0, 1, {}}, {1, 2, 3}, {});
    addState(store, {3, "c", "two", 1, {}, {}}, {1, 2, 3}, {1, 2, 3});
    addState(store, {4, "d", "one", 1, 1, 1}, {1, 2, 3}, {1, 2});
    addState(store, {5, "e", "o'n", 0, 1, 1}, {1, 2}, {});
    addState(store, {6, "f", "one", 1, 1, 1}, {1, 2, 3}, {1, 2, 2});
    store.commit();
    CppSQLite3DB db;
    db.open(directory / "calibration.sqlite");
    const struct {
        S selector;
        const char* analysis;  // polarities and m for mobility; "" when it is not described
        std::size_t frames;
        const char* expected;
    } cases[] = {
        {S::useLast(), "+m", 3, "c"},
        {S::useLast(), "+", 3, "e"},
        {S::useLast(), "+-m", 3, "c"},
        {S::useLast(), "+m", 4, "Found no complete latest calibration state"},
        {S::useFirst(), "+m", 3, "a"},
        {S::useFirst("two"), "+m", 3, "b"},
        {S::useFirst("two"), "+-m", 3, "c"},
        {S::useFirst("two"), "-m", 3, "c"},
        {S::useFirst("three"), "+m", 3, "Found no complete first calibration state with source 'three'"},
        {S::useLast("one"), "+m", 3, "a"},
        {S::useLast("o'n"), "+-", 3, "e"},
        {S::useLast("o'n"), "+-m", 3, "Found no complete latest calibration state with source 'o'n'"},
        {S::useLast(), "", 0, "Failed to set Analysis Info frame count before calling getUUID"},
        {S::useLast(), "m", 3, "Failed to set Analysis Info polarity before calling getUUID"},
        {S::useLastIncomplete("one"), "", 0, "f"},
        {S::useLastIncomplete("o'n"), "", 0, "e"},
        {S::useLastIncomplete("x"), "", 0, "Found no latest calibration state with source 'x'"},
        {S::useByUUID("b"), "", 0, "b"},
        {S::useByUUID("x' OR '1'='1"), "", 0, "Calibration state [x' OR '1'='1] does not exist"},
    };
    for (const auto& c : cases) {
        S selector = c.selector;
        const auto has = [&c](char feature) { return std::strchr(c.analysis, feature) != nullptr; };
        if (*c.analysis != '\0') {
            selector.setAnalysisInfo(
                {c.frames, has('+'), has('-'), has('m') ? Format::Mobility : Format::Spectra});
        }
        std::string chosen;
        const std::string failure = fixtures::failureOf([&] { chosen = selector.getUUID(db); });
        EXPECT_EQ(failure == "none" ? chosen : failure, c.expected)
            << selector.to_string() << ' ' << c.analysis;
    }
}

TEST(CalibrationStateSelectors, MadeFromModesAndParameters) {
    const std::string ofMode = "Invalid parameter list for recalib mode ";
    const std::string misfit = ", recalibParam must fit [3] entries, got ";
    const std::string missing =
        "Invalid parameter for recalib mode lastIncomplete, recalibParam must not be empty";
    const struct {
        const char* mode;
        std::size_t analyses;
        std::vector<std::string> parameters;
        std::string expected;
    } cases[] = {
        {"off", 2, {}, "none;none;"},
        {"first", 1, {""}, "Using first complete calibration state;"},
        {"last", 1, {"s"}, "Using latest complete calibration state with source [s];"},
        {"lastIncomplete", 1, {"s"}, "Using latest calibration state with source [s];"},
        {"lastIncomplete", 1, {""}, missing},
        {"uuid", 2, {"k"}, "Using calibration state with uuid [k];Using calibration state with uuid [k];"},
        {"uuid",
         2,
         {"k", "l"},
         "Using calibration state with uuid [k];Using calibration state with uuid [l];"},
        {"first", 3, {"a", "b"}, ofMode + "first" + misfit + "[2], expected [0], [1], or [3]"},
        {"uuid", 3, {}, ofMode + "uuid" + misfit + "[0], expected [1], or [3]"},
        {"Last", 1, {}, "Invalid calibration mode Last"},
    };
    for (const auto& [mode, analyses, parameters, expected] : cases) {
        std::string made;
        const std::string failure = fixtures::failureOf([&, &m = mode, &n = analyses, &p = parameters] {
            for (const auto& each : createCalibrationStateSelectors(from_string(m), n, p)) {
                made += (each ? each->to_string() : "none") + ";";
            }
        });
        EXPECT_EQ(failure == "none" ? made : failure, expected);
    }
    EXPECT_EQ(
        fixtures::failureOf([] { createCalibrationStateSelector(static_cast<CalibrationStateMode>(9), ""); }),
        "Unexpected recalibration mode [9]");
}

}  // namespace
