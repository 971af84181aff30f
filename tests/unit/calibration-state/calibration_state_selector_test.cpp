#include "calibration-state/calibration_state_selector.h"

#include <functional>

#include <gtest/gtest.h>

#include "analysis-writer/calibration_store.h"
#include "fixtures/temp_directory.h"
#include "sqlite/cppsqlite3.h"

namespace {

using analysis_writer::CalibrationStore;
using lumo::io::calibration::CalibrationStateMode;
using lumo::io::calibration::CalibrationStateSelector;
using lumo::io::calibration::createCalibrationStateSelector;
using lumo::io::calibration::createCalibrationStateSelectors;
using lumo::io::calibration::from_string;

std::string textOf(const std::function<std::string()>& call) {
    try {
        return call();
    } catch (const std::exception& e) {
        return e.what();
    }
}

TEST(CalibrationStateMode, TextsAndBack) {
    const std::pair<CalibrationStateMode, const char*> modes[] = {
        {CalibrationStateMode::Off, "off"},
        {CalibrationStateMode::First, "first"},
        {CalibrationStateMode::Last, "last"},
        {CalibrationStateMode::LastIncomplete, "lastIncomplete"},
        {CalibrationStateMode::Uuid, "uuid"}};
    for (const auto& [mode, text] : modes) {
        EXPECT_EQ(to_string(mode), text);
        EXPECT_EQ(from_string(text), mode);
    }
    EXPECT_EQ(textOf([] { return to_string(static_cast<CalibrationStateMode>(5)); }),
              "Unexpected calibration mode");
    EXPECT_EQ(textOf([] { return to_string(from_string("Last")); }), "Invalid calibration mode Last");
}

// A database of states for an analysis of three frames:
//   a  oldest, source one, references for both polarities, complete
//   b  source two, positive reference only
//   c  source two, calibrators for each frame, complete
//   d  source one, calibrators for each frame but the last
//   e  source o'n, both references, mobility of two frames only
//   f  newest, source one, calibrators for frames 1, 2 and 2 again, so the count fits and the last frame is
//   missing
class Selection : public testing::Test {
protected:
    Selection() {
        CalibrationStore store(directory.path());
        addState(store, 1, "a", "one", 0, 1, 1, 3, {});
        addState(store, 2, "b", "two", 0, 1, {}, 3, {});
        addState(store, 3, "c", "two", 1, {}, {}, 3, {1, 2, 3});
        addState(store, 4, "d", "one", 1, 1, 1, 3, {1, 2});
        addState(store, 5, "e", "o'n", 0, 1, 1, 2, {});
        addState(store, 6, "f", "one", 1, 1, 1, 3, {1, 2, 2});
        store.commit();
        db.open(directory / "calibration.sqlite");
    }

    static void addState(CalibrationStore& store, std::int64_t id, const char* key, const char* source,
                         std::int64_t frameCalibrators, std::optional<std::int64_t> positive,
                         std::optional<std::int64_t> negative, std::int64_t mobilityFrames,
                         const std::vector<std::int64_t>& massFrames) {
        store.addState({id, key, source, frameCalibrators, positive, negative});
        for (std::int64_t frame = 1; frame <= mobilityFrames; ++frame) {
            store.mapKovaCalibration(id, frame, 1);
        }
        for (const std::int64_t frame : massFrames) {
            store.mapFrameMzCalibration(id, frame, 1);
        }
    }

    struct Analysis {
        bool positive;
        bool negative;
        bool mobility;
    };

    std::string choice(CalibrationStateSelector selector, const Analysis& analysis, std::size_t frames = 3) {
        selector.setAnalysisInfo(frames, analysis.positive, analysis.negative, analysis.mobility);
        return textOf([&] { return selector.getUUID(db); });
    }

    fixtures::TempDirectory directory;
    CppSQLite3DB db;
};

constexpr bool kYes = true;
constexpr bool kNo = false;

TEST_F(Selection, CompleteStatesCoverPolaritiesAndFrames) {
    using S = CalibrationStateSelector;
    struct Case {
        CalibrationStateSelector selector;
        Analysis analysis;
        const char* expected;
    };
    const Case cases[] = {
        {S::useLast(), {kYes, kNo, kYes}, "c"},
        {S::useLast(), {kYes, kNo, kNo}, "e"},
        {S::useLast(), {kYes, kYes, kYes}, "c"},
        {S::useFirst(), {kYes, kNo, kYes}, "a"},
        {S::useFirst("two"), {kYes, kNo, kYes}, "b"},
        {S::useFirst("two"), {kYes, kYes, kYes}, "c"},
        {S::useFirst("two"), {kNo, kYes, kYes}, "c"},
        {S::useLast("one"), {kYes, kNo, kYes}, "a"},
        {S::useLast("o'n"), {kYes, kYes, kNo}, "e"},
        {S::useLast("o'n"),
         {kYes, kYes, kYes},
         "Found no complete latest calibration state with source 'o'n'"},
        {S::useFirst("three"),
         {kYes, kNo, kYes},
         "Found no complete first calibration state with source 'three'"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(choice(c.selector, c.analysis), c.expected) << c.selector.to_string();
    }
    EXPECT_EQ(choice(S::useLast(), {kYes, kNo, kYes}, 4), "Found no complete latest calibration state");
}

TEST_F(Selection, IncompleteStatesAndKeys) {
    using S = CalibrationStateSelector;
    const auto get = [&](const S& selector) { return textOf([&] { return selector.getUUID(db); }); };
    EXPECT_EQ(get(S::useLastIncomplete("one")), "f");
    EXPECT_EQ(get(S::useLastIncomplete("o'n")), "e");
    EXPECT_EQ(get(S::useLastIncomplete("x")), "Found no latest calibration state with source 'x'");
    EXPECT_EQ(get(S::useByUUID("b")), "b");
    EXPECT_EQ(get(S::useByUUID("x' OR '1'='1")), "Calibration state [x' OR '1'='1] does not exist");
}

TEST_F(Selection, CompleteStatesNeedTheAnalysisDescribed) {
    EXPECT_TRUE(CalibrationStateSelector::useFirst("one").analysisInfoRequired());
    EXPECT_FALSE(CalibrationStateSelector::useLastIncomplete("one").analysisInfoRequired());
    EXPECT_FALSE(CalibrationStateSelector::useByUUID("a").analysisInfoRequired());
    EXPECT_EQ(textOf([&] { return CalibrationStateSelector::useLast().getUUID(db); }),
              "Failed to set Analysis Info frame count before calling getUUID");
    EXPECT_EQ(choice(CalibrationStateSelector::useLast(), {kNo, kNo, kYes}),
              "Failed to set Analysis Info polarity before calling getUUID");
}

TEST(CalibrationStateSelectors, MadeFromModesAndParameters) {
    const auto made = [](CalibrationStateMode mode, const std::string& parameter) {
        return textOf([&] {
            const auto selector = createCalibrationStateSelector(mode, parameter);
            return selector ? selector->to_string() : "none";
        });
    };
    EXPECT_EQ(made(CalibrationStateMode::Off, "x"), "none");
    EXPECT_EQ(made(CalibrationStateMode::First, ""), "Using first complete calibration state");
    EXPECT_EQ(made(CalibrationStateMode::Last, "s"),
              "Using latest complete calibration state with source [s]");
    EXPECT_EQ(made(CalibrationStateMode::LastIncomplete, "s"),
              "Using latest calibration state with source [s]");
    EXPECT_EQ(made(CalibrationStateMode::Uuid, "k"), "Using calibration state with uuid [k]");
    EXPECT_EQ(made(CalibrationStateMode::LastIncomplete, ""),
              "Invalid parameter for recalib mode lastIncomplete, recalibParam must not be empty");
    EXPECT_EQ(made(CalibrationStateMode::Uuid, ""),
              "Invalid parameter for recalib mode uuid, recalibParam must not be empty");
    EXPECT_EQ(made(static_cast<CalibrationStateMode>(9), ""), "Unexpected recalibration mode [9]");
}

TEST(CalibrationStateSelectors, NoneOneOrOneForEach) {
    const auto count = [](CalibrationStateMode mode, std::size_t analyses,
                          const std::vector<std::string>& parameters) {
        return textOf([&] {
            std::string result;
            for (const auto& selector : createCalibrationStateSelectors(mode, analyses, parameters)) {
                result += (selector ? selector->to_string() : "none") + ";";
            }
            return result;
        });
    };
    EXPECT_EQ(count(CalibrationStateMode::Off, 2, {}), "none;none;");
    EXPECT_EQ(count(CalibrationStateMode::Uuid, 2, {"k"}),
              "Using calibration state with uuid [k];Using calibration state with uuid [k];");
    EXPECT_EQ(count(CalibrationStateMode::Uuid, 2, {"k", "l"}),
              "Using calibration state with uuid [k];Using calibration state with uuid [l];");
    EXPECT_EQ(count(CalibrationStateMode::First, 3, {"a", "b"}),
              "Invalid parameter list for recalib mode first, recalibParam must fit [3] entries, got [2], "
              "expected [0], "
              "[1], or [3]");
    EXPECT_EQ(count(CalibrationStateMode::Uuid, 3, {}),
              "Invalid parameter list for recalib mode uuid, recalibParam must fit [3] entries, got [0], "
              "expected [1], or "
              "[3]");
}

}  // namespace
