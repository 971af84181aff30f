#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "calibration/i_calibration_transformator.h"
#include "calibration/transformation.h"
#include "kova-data-reader/compression_type.h"
#include "kova-data-reader/database/frame_info.h"
#include "kova-data-reader/database/i_sqlite_reader.h"
#include "kova-data-reader/scan-decoding/normalization.h"
#include "logging/logger.h"

namespace lumo::io::kova {

class BinLimit;
class ByteBuffer;
class KvdFrameReader;
class KvdReaderImpl;

// The one object through which an ion-mobility analysis is read. Fully usable once constructed; movable. Used by one
// thread at a time; references and pointers it hands out are valid until the next call.
class KvdReader : public ISqliteReader {
public:
    using MzTrafoPtr = ::lumo::calibration::ICalibrationTransformatorPtr;
    using MobTrafoPtr = std::unique_ptr<::lumo::calibration::kova::ITransformator>;

    explicit KvdReader(const std::filesystem::path& directory, bool useRecalibratedState = false);
    KvdReader(KvdReader&&) noexcept;
    KvdReader& operator=(KvdReader&&) noexcept;
    ~KvdReader() override;

    // Virtual functions keep their slot order.
    std::shared_ptr<CppSQLite3DB> getSQLiteDb() const override;

    // Text and bytes of table "CalibrationInfo"; empty when the key has no row.
    virtual std::optional<std::string> getCalibrationInfoString(bool negative, const std::string& key) const;
    virtual std::optional<std::vector<std::byte>> getCalibrationInfoBlob(bool negative, const std::string& key) const;

    // Mass transformator of a frame; empty when its calibration id has no row. `raw` asks for one without
    // compensation of temperatures; it matters only to re-calibrated states.
    virtual MzTrafoPtr getMzTrafo(std::int64_t frameId, bool raw) const;

    // Mass transformator of the calibration stored during acquisition. Deliberate: the flag is ignored.
    virtual MzTrafoPtr getRawMzTrafo(std::int64_t frameId, bool flag) const;

    // The transformator that all frames of a polarity share; fails when there is none or more than one.
    virtual MzTrafoPtr getReferenceMzTrafo(bool negative) const;

    // True when conversions use a state of the external calibration file, and which one.
    virtual bool usingStateFromCalibrationFile() const;
    virtual std::optional<std::string> getCalibrationStateId() const;

    // Mobility transformator of a frame, built anew by each call; empty when its calibration id has no row.
    MobTrafoPtr getMobTrafo(std::int64_t frameId) const;

    // Raises CorruptFrameDataError for a frame that does not exist.
    const FrameInfo& getFrameInfo(std::int64_t frameId) const;

    // Compressed bytes of one scan, (null, 0) for an empty one. Compression type 1 only.
    std::pair<const std::byte*, std::uint32_t> getScanBlob(std::int64_t frameId, std::uint32_t scan) const;

    // Makes a frame the decompressed one. Compression type 2 only.
    const KvdFrameReader& loadFrame(std::int64_t frameId) const;

    // Byte-shuffled words of a frame and the word range [start, end) of one of its scans. Compression type 2 only.
    const ByteBuffer& getDecompressedScanData(std::int64_t frameId, std::uint32_t scan, std::uint32_t& start,
                                              std::uint32_t& end) const;

    // Announces the scans that will be read next, so that they are fetched together.
    void hintWillReadScanRange(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd) const;

    NormalizationType getDefaultNormalizationType() const;
    CompressionType getCompressionType() const { return compressionType; }
    BinLimit& binLimit() const { return *bins; }

private:
    std::unique_ptr<KvdReaderImpl> impl;
    logging::Logger logger;
    CompressionType compressionType;
    std::unique_ptr<BinLimit> bins;  // of one scan, with the flag that drops beyond it have been logged
};

}  // namespace lumo::io::kova
