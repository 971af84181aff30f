#include "analysis-writer/analysis_writer.h"

#include <algorithm>

#include "analysis-writer/scan_blocks.h"

namespace analysis_writer {

namespace {

const std::filesystem::path& created(const std::filesystem::path& directory) {
    std::filesystem::create_directories(directory);
    return directory;
}

template <typename T>
void setUnlessGiven(std::optional<T>& field, T value) {
    if (!field)
        field = value;
}

void summarise(const Frame& frame, FrameRow& row) {
    std::int64_t peaks = 0;
    std::int64_t sum = 0;
    std::int64_t largest = 0;
    for (const Scan& scan : frame) {
        peaks += static_cast<std::int64_t>(scan.size());
        for (const Peak& peak : scan) {
            sum += peak.intensity;
            largest = std::max<std::int64_t>(largest, peak.intensity);
        }
    }
    setUnlessGiven(row.numScans, static_cast<std::int64_t>(frame.size()));
    setUnlessGiven(row.numPeaks, peaks);
    setUnlessGiven(row.summedIntensities, sum);
    setUnlessGiven(row.maxIntensity, largest);
}

void summarise(const Spectrum& spectrum, FrameRow& row) {
    std::int64_t sum = 0;
    std::int64_t largest = 0;
    for (const std::uint32_t intensity : spectrum.profile) {
        sum += intensity;
        largest = std::max<std::int64_t>(largest, intensity);
    }
    setUnlessGiven(row.numPeaks, static_cast<std::int64_t>(spectrum.lines.positions.size()));
    setUnlessGiven(row.summedIntensities, sum);
    setUnlessGiven(row.maxIntensity, largest);
}

}  // namespace

std::filesystem::path metadataPath(const std::filesystem::path& directory, Format format) {
    return directory / (format == Format::kvd ? "analysis.kvd" : "analysis.kvs");
}

std::filesystem::path blobPath(const std::filesystem::path& directory, Format format) {
    return directory / (format == Format::kvd ? "analysis.kvd_bin" : "analysis.kvs_bin");
}

AnalysisWriter::AnalysisWriter(const std::filesystem::path& directory, const AnalysisSettings& given)
    : settings(given),
      metadata(metadataPath(created(directory), given.format),
               {given.schemaMajor, given.mzCoefficientColumns, given.kovaCoefficientColumns}),
      blobFile(blobPath(directory, given.format)),
      frameEncoder(given.zstdLevel) {
    writeGlobalMetadata();
}

void AnalysisWriter::writeGlobalMetadata() {
    const auto set = [this](const char* key, auto value) {
        metadata.setGlobalMetadatum(key, std::to_string(value));
    };
    metadata.setGlobalMetadatum("SchemaType", settings.format == Format::kvd ? "KVD" : "KVS");
    set("SchemaVersionMajor", settings.schemaMajor);
    set("SchemaVersionMinor", settings.schemaMinor);
    set("KovaCompressionType", settings.compressionType);
    set("DigitizerNumSamples", settings.digitizerNumSamples);
    set("PeakListIndexScaleFactor", settings.peakListIndexScaleFactor);
    if (settings.format == Format::kvs) {
        set("HasLineSpectra", settings.parts.lines ? 1 : 0);
        set("HasLineSpectraPeakWidth", settings.parts.widths ? 1 : 0);
        set("HasProfileSpectra", settings.parts.profile ? 1 : 0);
    }
}

void AnalysisWriter::addFrame(FrameRow row, const Frame& frame) {
    summarise(frame, row);
    if (settings.compressionType == 1) {
        addBlock(std::move(row), scanFrameBlock(frame));
    } else {
        addBlock(std::move(row), frameEncoder.encode(frame));
    }
}

void AnalysisWriter::addSpectrum(FrameRow row, const Spectrum& spectrum) {
    summarise(spectrum, row);
    addBlock(std::move(row), spectrumBlock(spectrum, settings.parts, settings.zstdLevel));
}

void AnalysisWriter::addBlock(FrameRow row, ByteView block) {
    row.kovaId = blobFile.append(block);
    metadata.addFrame(row);
}

void AnalysisWriter::finish() {
    blobFile.flush();
    metadata.commit();
}

}  // namespace analysis_writer
