#include "analysis-writer/spectrum_block.h"

#include "analysis-writer/byte_shuffle.h"

// Spectra without mobility: arrays one after the other, each part compressed by itself.
namespace analysis_writer {

Bytes linePart(const SpectrumLines& lines, bool withWidths) {
    const std::size_t count = lines.positions.size();
    if (lines.intensities.size() != count || (withWidths && lines.widths.size() != count)) {
        throw std::invalid_argument("the arrays of a line spectrum differ in length");
    }
    Bytes bytes;
    bytes.reserve(16 * count);
    for (const double position : lines.positions)
        appendF64(bytes, position);
    for (const float intensity : lines.intensities)
        appendF32(bytes, intensity);
    if (withWidths) {
        for (const float width : lines.widths)
            appendF32(bytes, width);
    }
    return bytes;
}

Bytes spectrumBlock(ByteView compressedLines, ByteView compressedProfile, const BlockOverrides& overrides) {
    Bytes payload;
    payload.reserve(compressedLines.size() + compressedProfile.size());
    appendBytes(payload, compressedLines);
    appendBytes(payload, compressedProfile);
    return block(fileSize32(compressedLines.size()), payload, overrides);
}

Bytes spectrumBlock(const Spectrum& spectrum, const SpectrumParts& parts, int zstdLevel) {
    Bytes lines;
    Bytes profile;
    if (parts.lines && !spectrum.lines.positions.empty()) {
        lines = zstdFrame(linePart(spectrum.lines, parts.widths), zstdLevel);
    }
    if (parts.profile && !spectrum.profile.empty())
        profile = zstdFrame(shuffled(spectrum.profile), zstdLevel);
    return spectrumBlock(lines, profile);
}

}  // namespace analysis_writer
