#include "kova-data-reader/blob/kvs_spectra_reader.h"

#include <span>
#include <string>

#include "diag/errors.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/block_header.h"
#include "kova-data-reader/blob/byte_shuffling.h"
#include "kova-data-reader/blob/stream_reading.h"
#include "sys/little_endian.h"

// Spectra without mobility, compression type 3. A block is a header, a part with lines and a part with a
// profile, and each part is compressed by itself, so reading one leaves the other in the file. The stream's
// position is followed, so reading lines and then the profile of the same spectrum takes no seek between
// them.
//
// What must stay true: the position that counts as loaded is forgotten before anything can fail, and set when
// everything has succeeded.
namespace lumo::io::kova {

using calibration::CorruptDataError;

// What differs between the two parts of a spectrum, as pointers to the members concerned, so that one
// function reads both.
struct KvsSpectraReader::Part {
    bool supported;
    const char* unsupportedText;
    bool KvsSpectraReader::*read;
    std::uint32_t KvsSpectraReader::*size;
    ByteBuffer KvsSpectraReader::*buffer;
    bool startsAfterLine;
};

void KvsSpectraReader::fillLineSpectrum(std::istream& stream, std::int64_t newFrameId,
                                        std::int64_t position) {
    frameId = newFrameId;
    fill({.supported = stored.lines,
          .unsupportedText = "No line spectra supported in this analysis.",
          .read = &KvsSpectraReader::lineRead,
          .size = &KvsSpectraReader::lineSize,
          .buffer = &KvsSpectraReader::line,
          .startsAfterLine = false},
         stream, position);
}

void KvsSpectraReader::fillProfileSpectrum(std::istream& stream, std::int64_t newFrameId,
                                           std::int64_t position) {
    frameId = newFrameId;
    fill({.supported = stored.profiles,
          .unsupportedText = "No profile spectra supported in this analysis.",
          .read = &KvsSpectraReader::profileRead,
          .size = &KvsSpectraReader::profileSize,
          .buffer = &KvsSpectraReader::profile,
          .startsAfterLine = true},
         stream, position);
}

void KvsSpectraReader::readHeader(std::istream& stream, std::int64_t position) {
    lineRead = profileRead = false;
    lineSize = profileSize = 0;
    place = StreamPlace::Unknown;
    if (position < 0) {
        return;
    }
    const auto [blockSize, lineEntry] = binary::readBlockHeader(stream, position, frameId);
    lineSize = lineEntry;
    // Wraps when the block contradicts its parts; each part is checked when it is read.
    profileSize = blockSize - binary::kBlockHeaderSizeBytes - lineEntry;
    place = StreamPlace::AfterHeader;
}

// Each part is read at most once while its spectrum is the loaded one. `isInPlace` says that the stream
// already is where the part begins.
void KvsSpectraReader::fill(const Part& part, std::istream& stream, std::int64_t position) {
    if (!part.supported) {
        LUMO_THROW(CorruptFrameDataError(frameId, part.unsupportedText));
    }
    const bool isLoaded = loadedPosition == position;
    if (isLoaded && this->*part.read) {
        return;
    }
    loadedPosition.reset();  // until everything below has succeeded
    if (!isLoaded) {
        readHeader(stream, position);
    }
    const std::uint32_t size = this->*part.size;
    if (size > limits::kMaxBlockSizeBytes) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Compressed spectrum size too large."));
    }
    ByteBuffer& buffer = this->*part.buffer;
    if (size == 0) {
        buffer.resize(0);
    } else {
        const bool isInPlace = part.startsAfterLine ? place == StreamPlace::AtProfilePart ||
                                                          (place == StreamPlace::AfterHeader && lineSize == 0)
                                                    : place == StreamPlace::AfterHeader;
        const std::int64_t start =
            position + binary::kBlockHeaderSizeBytes + (part.startsAfterLine ? lineSize : 0);
        if (!isInPlace && !binary::seekTo(stream, start)) {
            // Deliberate: the line part's failure has the profile part's text.
            LUMO_THROW(CorruptFrameDataError(
                frameId, binary::seekFailureText("Can't seek to profile block start.", stream)));
        }
        place = StreamPlace::Unknown;
        binary::readAndDecompress(size, frameId, stream, handler, compressed, buffer);
        place = part.startsAfterLine ? StreamPlace::Unknown : StreamPlace::AtProfilePart;
    }
    this->*part.read = true;
    loadedPosition = position;
}

// The number of peaks comes from the database and the bytes come from the blob file, so each is held against
// the other. More bytes than the peaks need are no error.
LineSpectrumView KvsSpectraReader::viewLineSpectrum(std::int64_t peaks, LineWidths widths) const {
    if (!loadedPosition || !lineRead) {
        LUMO_THROW(CorruptDataError("Invalid call to getLineSpectrum(), line spectrum not read"));
    }
    const bool withWidths = widths == LineWidths::Read;
    if (withWidths && !stored.lineWidths) {
        LUMO_THROW(CorruptDataError("Invalid call to getLineSpectrum(), peak width are not available"));
    }
    if (peaks < 0) {
        if (!line.empty()) {
            LUMO_THROW(CorruptFrameDataError(frameId, "Number of peaks is missing for the line spectrum."));
        }
        return {};
    }
    const std::uint64_t bytesPerPeak = withWidths ? 16 : 12;
    if (static_cast<std::uint64_t>(peaks) > line.size() / bytesPerPeak) {
        LUMO_THROW(CorruptFrameDataError(frameId, "Number of peaks [" + std::to_string(peaks) +
                                                      "] exceeds the line spectrum of " +
                                                      std::to_string(line.size()) + " bytes."));
    }
    const auto count = static_cast<std::size_t>(peaks);
    return {count, line.data(), line.data() + 8 * count, withWidths ? line.data() + 12 * count : nullptr};
}

void KvsSpectraReader::getLineSpectrum(std::int64_t peaks, std::vector<double>& positions,
                                       std::vector<float>& intensities, std::vector<float>* widths) const {
    const LineSpectrumView view =
        viewLineSpectrum(peaks, widths != nullptr ? LineWidths::Read : LineWidths::LeaveOut);
    const auto copy = [&view](auto& values, const std::byte* bytes) {
        values.resize(view.peaks);
        sys::loadNumbers(bytes, std::span(values));
    };
    copy(positions, view.positions);
    copy(intensities, view.intensities);
    if (widths != nullptr) {
        copy(*widths, view.widths);
    }
}

std::size_t KvsSpectraReader::numberOfProfilePoints() const {
    if (!loadedPosition || !profileRead) {
        LUMO_THROW(CorruptDataError("Invalid call to getProfileSpectrum(), profile spectrum not read"));
    }
    return profile.size() / 4;
}

void KvsSpectraReader::getProfileSpectrum(std::uint32_t* intensities) const {
    const std::size_t points = numberOfProfilePoints();
    decoding::decodeByteShuffling({profile.data(), profile.size()}, 0, points, intensities);
}

void KvsSpectraReader::getProfileSpectrum(std::vector<std::uint32_t>& intensities) const {
    intensities.resize(numberOfProfilePoints());
    getProfileSpectrum(intensities.data());
}

}  // namespace lumo::io::kova
