#include "kova/run/run.h"

#include <kovadata/kova.h>
#include <kovadata/kvs.h>

#include <charconv>
#include <map>

#include "kova/failure.h"
#include "kova/run/last_error.h"
#include "kova/run/open_hint.h"

// A run of the library for the verbs: choices of calibrations in the words of the command line, and texts of
// failures with the directory that they are about.
namespace kova_tool {
namespace {

struct Mode {
    kvr_calibration calibration;
    enum { NoParameter, MayHaveParameter, NeedsParameter } parameter;
};

const std::map<std::string, Mode, std::less<>> kModes = {
    {"off", {KVR_CALIBRATION_OFF, Mode::NoParameter}},
    {"first", {KVR_CALIBRATION_FIRST, Mode::MayHaveParameter}},
    {"last", {KVR_CALIBRATION_LAST, Mode::MayHaveParameter}},
    {"lastIncomplete", {KVR_CALIBRATION_LAST_INCOMPLETE, Mode::NeedsParameter}},
    {"uuid", {KVR_CALIBRATION_UUID, Mode::NeedsParameter}}};

// The parameter stays where it is in the text of the choice.
void choose(const std::string& state, kvr_options& options) {
    const std::size_t colon = state.find(':');
    const auto mode = kModes.find(std::string_view(state).substr(0, colon));
    const bool hasParameter = colon != std::string::npos && colon + 1 < state.size();
    const bool isComplete =
        mode != kModes.end() && (mode->second.parameter == Mode::MayHaveParameter ||
                                 hasParameter == (mode->second.parameter == Mode::NeedsParameter));
    if (!isComplete) {
        throw UsageError("--calibration: '" + state +
                         "' is none of off, first[:SOURCE], last[:SOURCE], lastIncomplete:SOURCE, uuid:KEY");
    }
    options.calibration = mode->second.calibration;
    options.calibration_parameter = hasParameter ? state.c_str() + colon + 1 : nullptr;
}

kvr_run* openRun(const std::string& directory, const CalibrationChoice& calibration) {
    kvr_options options = {};
    options.size = sizeof options;
    if (!calibration.state.empty()) {
        choose(calibration.state, options);
    } else if (calibration.newest) {
        options.calibration = KVR_CALIBRATION_LAST;
        options.calibration_fallback = 1;
    }
    return kvr_open(directory.c_str(), &options);
}

// Texts that do not say which directory they are about get its name.
std::string withPath(const std::string& directory, const std::string& text) {
    return text.find(directory) == std::string::npos ? directory + ": " + text : text;
}

}  // namespace

const char* formatName(RunKind kind) { return kind == RunKind::Mobility ? "kvd" : "kvs"; }

FrameNouns nounsOf(RunKind kind) {
    return kind == RunKind::Mobility ? FrameNouns{"frame", "frames"} : FrameNouns{"spectrum", "spectra"};
}

Run::Run(const std::string& directory, const CalibrationChoice& calibration)
    : run(openRun(directory, calibration)) {
    if (run == nullptr) {
        throw Failure(withPath(directory, lastRunError()), openHint(directory));
    }
    facts.size = sizeof facts;
    if (kvr_get_info(run.get(), &facts) == 0) {
        throw Failure(withPath(directory, lastRunError()));
    }
}

Run::Run(const std::string& directory, const CalibrationChoice& calibration, RunKind required)
    : Run(directory, calibration) {
    if (kind() == required) {
        return;
    }
    if (required == RunKind::Mobility) {
        throw Failure(directory + " is an analysis without ion mobility",
                      "`kova spectrum` prints its spectra");
    }
    throw Failure(directory + " is an analysis with ion mobility", "`kova scans` prints its peaks");
}

std::optional<std::string> Run::calibrationState() const {
    return facts.calibration_state == nullptr ? std::nullopt
                                              : std::optional<std::string>(facts.calibration_state);
}

ArrowStream Run::table(kvr_table_kind kind) const {
    return ArrowStream([&](ArrowArrayStream* stream) { return kvr_table(run.get(), kind, stream); });
}

std::int64_t Run::globalNumber(const std::string& key) const {
    ArrowStream metadata = table(KVR_TABLE_METADATA);
    std::int64_t number = 0;
    while (metadata.next()) {
        for (std::size_t row = 0; row < metadata.rows(); ++row) {
            if (metadata.column("key").text(row) == key) {
                const std::string text = metadata.column("value").text(row).value_or("");
                std::from_chars(text.data() + (text.starts_with('+') ? 1 : 0), text.data() + text.size(),
                                number);
            }
        }
    }
    return number;
}

// Without mobility the scale factor may be missing.
std::uint32_t Run::indexBins() const {
    if (facts.num_bins != 0 || kind() == RunKind::Mobility) {
        return facts.num_bins;
    }
    const auto samples = static_cast<std::uint32_t>(globalNumber("DigitizerNumSamples"));
    const auto scale = static_cast<std::uint32_t>(globalNumber("PeakListIndexScaleFactor"));
    return scale == 0 ? samples : samples * scale;
}

std::uint32_t Run::countScans(std::int64_t frame) const {
    std::uint32_t scans = 0;
    if (kvr_count_scans(run.get(), frame, &scans) == 0) {
        throw Failure(lastRunError());
    }
    return scans;
}

std::uint64_t Run::handle() const {
    const std::uint64_t lent = kvr_lend_handle(run.get());
    if (lent == 0) {
        throw Failure(lastRunError());
    }
    return lent;
}

std::string Run::lastHandleError() const {
    return lastErrorOf(kind() == RunKind::Mobility ? kova_get_last_error_string : kvs_get_last_error_string);
}

}  // namespace kova_tool
