#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "calibration-state/calibration_state_selector.h"
#include "calibration/i_calibration_transformator.h"
#include "kova-data-reader/database/frame_info.h"
#include "kova-data-reader/database/i_sqlite_reader.h"
#include "logging/logger.h"

namespace lumo::io::kova {

class KvdReaderImpl;

// What readers of both formats offer: the database and the calibration of an open analysis. Movable; a
// moved-from reader may only be destroyed or assigned to. Used by one thread at a time.
class AnalysisReader : public ISqliteReader {
public:
    using MzTrafoPtr = ::lumo::calibration::ICalibrationTransformatorPtr;

    AnalysisReader(AnalysisReader&&) noexcept;
    AnalysisReader& operator=(AnalysisReader&&) noexcept;
    ~AnalysisReader() override;

    // Virtual functions keep their slot order.
    std::shared_ptr<CppSQLite3DB> getSQLiteDb() const override;

    // The functions below use the state of the external calibration file if one was chosen when the reader
    // was made, else the calibration that was stored during acquisition.

    // Text and bytes of table "CalibrationInfo"; empty when the key has no row.
    virtual std::optional<std::string> getCalibrationInfoString(bool negative, const std::string& key) const;
    virtual std::optional<std::vector<std::byte>> getCalibrationInfoBlob(bool negative,
                                                                         const std::string& key) const;

    // Mass transformator of a frame; empty when its calibration id has no row. `raw` asks for one without
    // compensation of temperatures; it matters only to re-calibrated states.
    virtual MzTrafoPtr getMzTrafo(std::int64_t frameId, bool raw) const;

    // Mass transformator of the calibration stored during acquisition. Deliberate: the flag is ignored.
    virtual MzTrafoPtr getRawMzTrafo(std::int64_t frameId, bool flag) const;

    // The transformator that all frames of a polarity share; a calibration of the acquisition fails when
    // there is none or more than one, a re-calibrated state without one gives an empty pointer.
    virtual MzTrafoPtr getReferenceMzTrafo(bool negative) const;

    // True when conversions use a state of the external calibration file, and which one.
    virtual bool usingStateFromCalibrationFile() const;
    virtual std::optional<std::string> getCalibrationStateId() const;

    // Raises CorruptFrameDataError for a frame that does not exist.
    const FrameInfo& getFrameInfo(std::int64_t frameId) const;

protected:
    AnalysisReader(const std::filesystem::path& directory,
                   std::optional<calibration::CalibrationStateSelector> selector, bool isKvd,
                   const char* loggerName);

    std::unique_ptr<KvdReaderImpl> impl;
    logging::Logger logger;
};

}  // namespace lumo::io::kova
