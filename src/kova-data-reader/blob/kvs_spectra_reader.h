#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <vector>

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/blob/limits.h"
#include "kova-data-reader/blob/zstd_decompression.h"

namespace lumo::io::kova {

// What the spectra of an analysis consist of, as its database says.
struct SpectrumParts {
    bool lines = false;
    bool lineWidths = false;
    bool profiles = false;
};

// Whether a caller wants the widths of peaks. Not all line spectra have them.
enum class LineWidths { LeaveOut, Read };

// The arrays of a line spectrum where they were decompressed: doubles, floats, floats, at any address and in
// the byte order of the file, so they are copied out (sys/little_endian.h) and never read in place.
struct LineSpectrumView {
    std::size_t peaks = 0;
    const std::byte* positions = nullptr;
    const std::byte* intensities = nullptr;
    const std::byte* widths = nullptr;  // null unless asked for
};

// Holds one spectrum at a time of an analysis without mobility: a line part and a profile part, decompressed
// independently and kept until another position is asked for. Views are valid until the next fill. Used by
// one thread.
class KvsSpectraReader {
public:
    explicit KvsSpectraReader(const SpectrumParts& storedParts) : stored(storedParts) {}

    // Make the part of the spectrum at `position` the decompressed one; nothing is read when it already is. A
    // negative position is an empty spectrum. Raise CorruptFrameDataError, and hold nothing then.
    void fillLineSpectrum(std::istream& stream, std::int64_t frameId, std::int64_t position);
    void fillProfileSpectrum(std::istream& stream, std::int64_t frameId, std::int64_t position);

    // The line spectrum with `peaks` peaks, a number that is stored apart from it; a negative one means that
    // it is not stored. Raises CorruptDataError when there is no such part, CorruptFrameDataError when the
    // number contradicts it.
    LineSpectrumView viewLineSpectrum(std::int64_t peaks, LineWidths widths) const;
    void getLineSpectrum(std::int64_t peaks, std::vector<double>& positions, std::vector<float>& intensities,
                         std::vector<float>* widths) const;

    // One intensity per index. The first form writes numberOfProfilePoints() words.
    std::size_t numberOfProfilePoints() const;
    void getProfileSpectrum(std::uint32_t* intensities) const;
    void getProfileSpectrum(std::vector<std::uint32_t>& intensities) const;

private:
    enum class StreamPlace { Unknown, AfterHeader, AtProfilePart };
    struct Part;

    void readHeader(std::istream& stream, std::int64_t position);
    void fill(const Part& part, std::istream& stream, std::int64_t position);

    SpectrumParts stored;
    ByteBuffer compressed{limits::kCompressedBufferSizeBytes};
    ByteBuffer line{limits::kDecompressedSpectrumBufferSizeBytes};
    ByteBuffer profile{limits::kDecompressedSpectrumBufferSizeBytes};
    binary::ZStdDeompressionHandler handler;
    std::optional<std::int64_t> loadedPosition;
    std::int64_t frameId = -1;
    std::uint32_t lineSize = 0;
    std::uint32_t profileSize = 0;
    bool lineRead = false;
    bool profileRead = false;
    StreamPlace place = StreamPlace::Unknown;
};

}  // namespace lumo::io::kova
