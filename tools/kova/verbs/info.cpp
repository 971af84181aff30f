#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kova/cli/command_options.h"
#include "kova/failure.h"
#include "kova/output/output_buffer.h"
#include "kova/output/report.h"
#include "kova/run/analysis_summary.h"
#include "kova/verbs/verbs.h"

// One summary in two forms. JSON has the same members for every analysis, null where something does not apply
// or is not known, so scripts need not tell formats apart; the text leaves out what does not apply.
namespace kova_tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr HelpText kInfoHelp = {
    R"(Everything comes from the metadata; no frame is read, unless the metadata do not state the number of
scans of the first one.
)",
    R"(  kova info run.d
  kova info run.d --json | jq .frames.count
  kova info run.d --recalibrated         which re-calibrated state would be used?
  kova info run.d --calibration first    the same for the oldest one
)",
    "the analysis cannot be opened, or has no such re-calibrated state"};

template <class Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

Json scansToJson(const std::optional<ScanCounts>& scans) {
    if (!scans) {
        return {};
    }
    return {{"min", scans->fewest},
            {"max", scans->most},
            {"total", scans->firstFrameOnly ? Json() : Json(scans->total)},
            {"of", scans->firstFrameOnly ? "first frame" : "all frames"}};
}

Json spectraToJson(const AnalysisSummary& summary) {
    if (summary.kind == RunKind::Mobility) {
        return {};
    }
    return {{"lines", summary.facts.has_lines != 0},
            {"widths", summary.facts.has_line_widths != 0},
            {"profiles", summary.facts.has_profiles != 0}};
}

Json filesToJson(const std::vector<FileSize>& files) {
    Json sizes = Json::object();
    for (const FileSize& file : files) {
        sizes[file.name] = file.bytes;
    }
    return sizes;
}

// Null and an empty list differ: no file of states that can be read, and a file without states.
Json statesToJson(const std::optional<std::vector<RecalibratedState>>& states) {
    if (!states) {
        return {};
    }
    Json list = Json::array();
    for (const RecalibratedState& state : *states) {
        list.push_back({{"key", state.key},
                        {"source", state.source},
                        {"mass_per_frame", orNull(state.massPerFrame)},
                        {"mass_frames", state.massFrames},
                        {"mobility_frames", state.mobilityFrames}});
    }
    return list;
}

Json toJson(const AnalysisSummary& summary) {
    return {
        {"analysis", summary.directory},
        {"format", formatName(summary.kind)},
        {"schema_version", {{"major", summary.facts.schema_major}, {"minor", summary.facts.schema_minor}}},
        {"storage_scheme", summary.facts.storage},
        {"frames",
         {{"count", summary.frames.all},
          {"ms1", orNull(summary.frames.ms1)},
          {"msms", orNull(summary.frames.msms)}}},
        {"time", {{"first", orNull(summary.firstTime)}, {"last", orNull(summary.lastTime)}}},
        {"polarities", summary.polarities},
        {"scans_per_frame", scansToJson(summary.scans)},
        {"spectra", spectraToJson(summary)},
        {"index_bins", summary.indexBins},
        {"calibrations", {{"mass", summary.massCalibrations}, {"mobility", summary.mobilityCalibrations}}},
        {"recalibrated",
         {{"file", summary.hasRecalibrationFile},
          {"states", statesToJson(summary.recalibratedStates)},
          {"in_use", orNull(summary.stateInUse)}}},
        {"file_bytes", filesToJson(summary.files)}};
}

std::string schemeText(const AnalysisSummary& summary) {
    switch (summary.facts.storage) {
        case 1:
            return "1 (scans compressed one by one)";
        case 2:
            return "2 (frames compressed as a whole)";
        case 3:
            return "3 (spectra without mobility)";
        default:
            return std::to_string(summary.facts.storage);
    }
}

std::string framesText(const FrameCounts& frames) {
    std::string text = std::to_string(frames.all);
    if (frames.ms1 && frames.msms) {
        text += " (" + std::to_string(*frames.ms1) + " MS1, " + std::to_string(*frames.msms) + " MS/MS)";
    }
    return text;
}

std::string timeText(const AnalysisSummary& summary) {
    if (!summary.firstTime || !summary.lastTime) {
        return "unknown";
    }
    return std::string(NumberText(*summary.firstTime, 3).view()) + " to " +
           std::string(NumberText(*summary.lastTime, 3).view()) + " s";
}

std::string polarityText(const std::vector<std::string>& polarities) {
    std::string text;
    for (const std::string& polarity : polarities) {
        text += (text.empty() ? "" : ", ") + polarity;
    }
    return text.empty() ? "unknown" : text;
}

std::string scansText(const AnalysisSummary& summary) {
    if (!summary.scans) {
        return "unknown";
    }
    const ScanCounts& scans = *summary.scans;
    std::string perFrame = std::to_string(scans.fewest);
    if (scans.most != scans.fewest) {
        perFrame += " to " + std::to_string(scans.most);
    }
    return scans.firstFrameOnly ? perFrame + " in the first frame"
                                : perFrame + " per frame, " + std::to_string(scans.total) + " in all";
}

std::string spectraText(const kvr_info& facts) {
    std::string text = facts.has_lines == 0 ? "" : facts.has_line_widths != 0 ? "lines with widths" : "lines";
    if (facts.has_profiles != 0) {
        text += text.empty() ? "profiles" : ", profiles";
    }
    return text.empty() ? "none" : text;
}

std::string recalibrationText(const AnalysisSummary& summary) {
    if (!summary.hasRecalibrationFile) {
        return "none";
    }
    if (!summary.recalibratedStates) {
        return "calibration.sqlite cannot be read";
    }
    const std::size_t count = summary.recalibratedStates->size();
    return std::to_string(count) + (count == 1 ? " state, " : " states, ") +
           (summary.stateInUse ? *summary.stateInUse + " in use" : "not in use");
}

std::string massText(const RecalibratedState& state) {
    if (!state.massPerFrame) {
        return "mass unknown";
    }
    return *state.massPerFrame ? "mass for " + std::to_string(state.massFrames) + " frames"
                               : "mass by polarity";
}

void printStates(const AnalysisSummary& summary, OutputBuffer& out) {
    if (!summary.recalibratedStates) {
        return;
    }
    std::size_t number = 0;
    for (const RecalibratedState& state : *summary.recalibratedStates) {
        writeEntry(out, "  state " + std::to_string(++number),
                   (state.key.empty() ? "(no key)" : state.key) +
                       (state.source.empty() ? "" : " by " + state.source) + ", " + massText(state) +
                       ", mobility for " + std::to_string(state.mobilityFrames) + " frames" +
                       (summary.stateInUse == state.key ? ", in use" : ""));
    }
}

void printText(const AnalysisSummary& summary, OutputBuffer& out) {
    writeEntry(out, "Analysis", summary.directory);
    const bool isWithoutMobility = summary.kind == RunKind::Spectra;
    writeEntry(
        out, "Format",
        isWithoutMobility ? "spectra without ion mobility (analysis.kvs)" : "ion mobility (analysis.kvd)");
    writeEntry(out, "Schema version",
               std::to_string(summary.facts.schema_major) + "." + std::to_string(summary.facts.schema_minor));
    writeEntry(out, "Storage scheme", schemeText(summary));
    writeEntry(out, "Frames", framesText(summary.frames));
    writeEntry(out, "Retention time", timeText(summary));
    writeEntry(out, "Polarity", polarityText(summary.polarities));
    if (isWithoutMobility) {
        writeEntry(out, "Spectra", spectraText(summary.facts));
    } else {
        writeEntry(out, "Scans", scansText(summary));
    }
    writeEntry(out, "Index bins", std::to_string(summary.indexBins));
    writeEntry(out, "Calibrations",
               std::to_string(summary.massCalibrations) + " mass, " +
                   std::to_string(summary.mobilityCalibrations) + " mobility");
    writeEntry(out, "Re-calibrated", recalibrationText(summary));
    printStates(summary, out);
    for (const FileSize& file : summary.files) {
        writeEntry(out, file.name, byteText(file.bytes));
    }
}

int runInfo(const CommonOptions& options) {
    const AnalysisSummary summary = summarise(options.directory, options.calibration);
    OutputBuffer out;
    if (options.json) {
        writeJson(out, toJson(summary));
    } else {
        printText(summary, out);
    }
    out.flush();
    return kExitOk;
}

}  // namespace

void addInfo(const Parser& app, Action& action) {
    Verb<CommonOptions> verb(app, action, "info", "Tells what an analysis holds", kInfoHelp);
    addAnalysis(verb.arguments(), verb.options());
    addJson(verb.arguments(), verb.options());
    addCalibration(verb.arguments(), verb.options());
    verb.runs(runInfo);
}

}  // namespace kova_tool
