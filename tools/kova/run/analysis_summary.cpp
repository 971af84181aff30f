#include "kova/run/analysis_summary.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "kova/failure.h"

// What `kova info` shows, collected from the tables of the library. A part that cannot be found out is left
// out: an analysis with damage should still be described.
namespace kova_tool {
namespace {

namespace fs = std::filesystem;

std::size_t countCalibrations(const std::vector<FrameRow>& frames,
                              std::optional<std::int64_t> FrameRow::*calibration) {
    std::set<std::int64_t> used;
    for (const FrameRow& frame : frames) {
        if (frame.*calibration) {
            used.insert(*(frame.*calibration));
        }
    }
    return used.size();
}

void summariseFrames(AnalysisSummary& summary, const std::vector<FrameRow>& frames) {
    summary.frames.all = frames.size();
    const auto countLevel = [&](int level) {
        return std::count_if(frames.begin(), frames.end(),
                             [=](auto& frame) { return frame.msLevel == level; });
    };
    if (std::any_of(frames.begin(), frames.end(), [](auto& frame) { return frame.msLevel.has_value(); })) {
        summary.frames.ms1 = static_cast<std::uint64_t>(countLevel(1));
        summary.frames.msms = static_cast<std::uint64_t>(countLevel(2));
    }
    for (const FrameRow& frame : frames) {
        if (frame.time) {
            summary.firstTime = std::min(summary.firstTime.value_or(*frame.time), *frame.time);
            summary.lastTime = std::max(summary.lastTime.value_or(*frame.time), *frame.time);
        }
        if (frame.polarity &&
            std::ranges::find(summary.polarities, *frame.polarity) == summary.polarities.end()) {
            summary.polarities.push_back(*frame.polarity);
        }
    }
}

ScanCounts scansOfFirstFrame(const Run& run, const FrameRow& first) {
    const std::uint32_t scans = first.scans ? *first.scans : run.countScans(first.id);
    return {scans, scans, scans, true};
}

ScanCounts scansOfAllFrames(const std::vector<FrameRow>& frames) {
    ScanCounts counts{*frames.front().scans, 0, 0, false};
    for (const FrameRow& frame : frames) {
        counts.fewest = std::min(counts.fewest, *frame.scans);
        counts.most = std::max(counts.most, *frame.scans);
        counts.total += *frame.scans;
    }
    return counts;
}

std::optional<ScanCounts> countScans(const Run& run, const std::vector<FrameRow>& frames) {
    if (frames.empty()) {
        return std::nullopt;
    }
    if (std::all_of(frames.begin(), frames.end(), [](auto& frame) { return frame.scans.has_value(); })) {
        return scansOfAllFrames(frames);
    }
    try {
        return scansOfFirstFrame(run, frames.front());
    } catch (const Failure&) {
        // A damaged frame does not keep the rest of the analysis from being described.
        return std::nullopt;
    }
}

std::vector<FileSize> fileSizes(const fs::path& directory, const std::string& metadata) {
    std::vector<FileSize> files;
    for (const std::string& name : {metadata, metadata + "_bin", std::string("calibration.sqlite")}) {
        std::error_code error;
        const std::uintmax_t bytes = fs::file_size(directory / name, error);
        if (!error) {
            files.push_back({name, bytes});
        }
    }
    return files;
}

std::vector<RecalibratedState> readStates(const Run& run) {
    std::vector<RecalibratedState> states;
    ArrowStream table = run.table(KVR_TABLE_STATES);
    while (table.next()) {
        const auto count = [&](const char* name, std::size_t row) {
            return table.column(name).value<std::int64_t>(row).value_or(0);
        };
        for (std::size_t row = 0; row < table.rows(); ++row) {
            states.push_back({table.column("key").text(row).value_or(""),
                              table.column("source").text(row).value_or(""),
                              table.column("mass_per_frame").flag(row), count("mass_frames", row),
                              count("mobility_frames", row)});
        }
    }
    return states;
}

void summariseRecalibration(AnalysisSummary& summary, const Run& run) {
    std::error_code ignored;
    summary.hasRecalibrationFile = fs::exists(fs::path(summary.directory) / "calibration.sqlite", ignored);
    summary.stateInUse = run.calibrationState();
    try {
        if (summary.hasRecalibrationFile) {
            summary.recalibratedStates = readStates(run);
        }
    } catch (const Failure&) {
        // The analysis can be read without it.
    }
}

}  // namespace

AnalysisSummary summarise(const std::string& directory, const CalibrationChoice& calibration) {
    const Run run(directory, calibration);
    const std::vector<FrameRow> frames = readFrameTable(run);
    AnalysisSummary summary;
    summary.directory = directory;
    summary.kind = run.kind();
    summary.facts = run.info();
    summary.facts.calibration_state = nullptr;  // lives no longer than the run
    summary.indexBins = run.indexBins();
    summary.massCalibrations = countCalibrations(frames, &FrameRow::mzCalibration);
    summary.mobilityCalibrations = countCalibrations(frames, &FrameRow::mobilityCalibration);
    summariseFrames(summary, frames);
    if (summary.kind == RunKind::Mobility) {
        summary.scans = countScans(run, frames);
    }
    summariseRecalibration(summary, run);
    summary.files = fileSizes(directory, std::string("analysis.") + formatName(summary.kind));
    return summary;
}

}  // namespace kova_tool
