#include "analysis-writer/analysis_writer.h"

#include <string>
#include <utility>

// The blob file first, its row afterwards: a frame that is in the metadata is complete. Everything is one
// transaction, so an analysis that was not finished holds no frames for a reader.
namespace analysis_writer {

namespace {

const std::filesystem::path& created(const std::filesystem::path& directory) {
    std::filesystem::create_directories(directory);
    return directory;
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
      encoder(given) {
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

void AnalysisWriter::addFrame(FrameRecord row, const Frame& frame) {
    addFrame(encoder.encode(std::move(row), frame));
}

void AnalysisWriter::addSpectrum(FrameRecord row, const Spectrum& spectrum) {
    addFrame(encoder.encode(std::move(row), spectrum));
}

void AnalysisWriter::addFrame(EncodedFrame encoded) { addBlock(std::move(encoded.row), encoded.block); }

void AnalysisWriter::addBlock(FrameRecord row, ByteView block) {
    row.kovaId = blobFile.append(block);
    metadata.addFrame(row);
}

void AnalysisWriter::finish() {
    blobFile.flush();
    metadata.commit();
}

}  // namespace analysis_writer
