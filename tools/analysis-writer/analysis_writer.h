#pragma once

#include "analysis-writer/analysis_settings.h"
#include "analysis-writer/blob_writer.h"
#include "analysis-writer/frame_encoder.h"
#include "analysis-writer/metadata_database.h"

namespace analysis_writer {

// Creates an analysis directory and streams frames into it, one block at a time, so that an analysis may be
// far larger than the memory. Readers see the metadata after finish().
class AnalysisWriter {
public:
    // Creates the directory if need be; existing analysis files in it are an error.
    AnalysisWriter(const std::filesystem::path& directory, const AnalysisSettings& settings);

    // Appends the frame's block and its row. KovaId is set here; NumPeaks, NumScans, SummedIntensities and
    // MaxIntensity are set unless the row states them.
    void addFrame(FrameRecord row, const Frame& frame);
    void addSpectrum(FrameRecord row, const Spectrum& spectrum);
    void addFrame(EncodedFrame encoded);

    // Appends any bytes as the frame's block.
    void addBlock(FrameRecord row, ByteView block);

    MetadataDatabase& database() { return metadata; }
    BlobWriter& blob() { return blobFile; }

    void finish();

private:
    void writeGlobalMetadata();

    AnalysisSettings settings;
    MetadataDatabase metadata;
    BlobWriter blobFile;
    FrameEncoder encoder;
};

std::filesystem::path metadataPath(const std::filesystem::path& directory, Format format);
std::filesystem::path blobPath(const std::filesystem::path& directory, Format format);

}  // namespace analysis_writer
