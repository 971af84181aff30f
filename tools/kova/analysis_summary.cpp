#include "analysis_summary.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "failure.h"
#include "open_analysis.h"
#include "scan_reader.h"
#include "state_access.h"

namespace kova_tool {
namespace {

namespace fs = std::filesystem;

std::int64_t rowCount(const MetadataDatabase& database, const std::string& table) {
    return database.hasTable(table) ? database.integer("SELECT COUNT(*) FROM " + table).value_or(0) : 0;
}

void summariseMetadata(AnalysisSummary& summary, const MetadataDatabase& database) {
    summary.schemaMajor = database.globalNumber("SchemaVersionMajor");
    summary.schemaMinor = database.globalNumber("SchemaVersionMinor");
    summary.storageScheme = database.globalNumber("KovaCompressionType");
    summary.indexBins = database.indexBins(summary.format);
    summary.massCalibrations = rowCount(database, "MzCalibration");
    summary.mobilityCalibrations = rowCount(database, "KovaCalibration");
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

ScanCounts scansOfFirstFrame(const AnalysisHandle& analysis, const FrameRow& first) {
    const std::uint32_t scans = ScanReader(analysis).scanCount(first);
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

std::optional<ScanCounts> countScans(const AnalysisHandle& analysis, const std::vector<FrameRow>& frames) {
    if (frames.empty()) {
        return std::nullopt;
    }
    if (std::all_of(frames.begin(), frames.end(), [](auto& frame) { return frame.scans.has_value(); })) {
        return scansOfAllFrames(frames);
    }
    try {
        return scansOfFirstFrame(analysis, frames.front());
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

void summariseRecalibration(AnalysisSummary& summary) {
    try {
        summary.recalibratedStates = readRecalibratedStates(summary.directory);
        summary.hasRecalibrationFile = summary.recalibratedStates.has_value();
    } catch (const Failure&) {
        // The analysis can be read without it.
        summary.hasRecalibrationFile = true;
    }
}

}  // namespace

AnalysisSummary summarise(const std::string& directory, const CalibrationChoice& calibration) {
    AnalysisSummary summary;
    summary.directory = directory;
    summary.format = formatOf(directory);
    const OpenAnalysis analysis(directory, summary.format, calibration);
    const std::vector<FrameRow> frames = readFrameTable(analysis.metadata);
    summariseMetadata(summary, analysis.metadata);
    summariseFrames(summary, frames);
    if (summary.format == AnalysisFormat::Mobility) {
        summary.scans = countScans(analysis.handle, frames);
    } else {
        summary.spectra = spectrumParts(analysis.metadata);
    }
    summariseRecalibration(summary);
    if (!calibration.isAcquisition()) {
        summary.stateInUse = keyOfStateInUse(summary.format, analysis.handle.get());
    }
    summary.files = fileSizes(directory, metadataName(summary.format));
    return summary;
}

}  // namespace kova_tool
