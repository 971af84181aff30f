#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

#include "calibration/transformation.h"
#include "kova-data-reader/analysis_reader.h"
#include "kova-data-reader/scan-reading/normalization.h"

namespace lumo::io::kova {

class ByteBuffer;
class ScanReader;

// The one object through which an ion-mobility analysis is read. Once it is constructed, everything that can
// be checked without reading a frame has been checked. References and pointers are valid until the next call.
// Used by one thread at a time.
class KvdReader : public AnalysisReader {
public:
    using MobTrafoPtr = std::unique_ptr<::lumo::calibration::kova::ITransformator>;

    explicit KvdReader(const std::filesystem::path& directory,
                       std::optional<calibration::CalibrationStateSelector> selector = std::nullopt);
    KvdReader(KvdReader&&) noexcept;
    KvdReader& operator=(KvdReader&&) noexcept;
    ~KvdReader() override;

    // Mobility transformator of a frame, built again by each call; empty when its calibration id has no row.
    MobTrafoPtr getMobTrafo(std::int64_t frameId) const;

    // Peaks: ranges of scans decoded into a sink.
    ScanReader& scans() const { return *scanReader; }
    NormalizationType getDefaultNormalizationType() const;

    // Stored scans as they are: compressed bytes of one scan, (null, 0) for an empty one, with compression
    // type 1 only; byte-shuffled words of a frame and the word range [start, end) of one of its scans, with
    // compression type 2 only.
    std::pair<const std::byte*, std::uint32_t> getScanBlob(std::int64_t frameId, std::uint32_t scan) const;
    const ByteBuffer& getDecompressedScanData(std::int64_t frameId, std::uint32_t scan, std::uint32_t& start,
                                              std::uint32_t& end) const;

    // Announces the scans that will be read next, so that they are fetched together.
    void hintWillReadScanRange(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd) const;

private:
    std::unique_ptr<ScanReader> scanReader;
};

}  // namespace lumo::io::kova
