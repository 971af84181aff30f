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
#include "calibration/polarity.h"
#include "calibration/temperature_compensation.h"
#include "kova-data-reader/database/analysis_format.h"
#include "kova-data-reader/database/frame_info.h"
#include "kova-data-reader/database/i_sqlite_reader.h"
#include "logging/logger.h"

namespace lumo::io::kova {

class KvdReaderImpl;

// What readers of both formats offer: the database and the calibrations of an open analysis. Which
// calibration answers, that of the acquisition or a re-calibrated state, is settled when the reader is made.
// Movable; a moved-from reader may only be destroyed or assigned to. Used by one thread at a time.
class AnalysisReader : public ISqliteReader {
public:
    using Polarity = ::lumo::calibration::Polarity;
    using Compensation = ::lumo::calibration::TemperatureCompensation;
    using MzTrafoPtr = ::lumo::calibration::ICalibrationTransformatorPtr;

    AnalysisReader(AnalysisReader&&) noexcept;
    AnalysisReader& operator=(AnalysisReader&&) noexcept;
    ~AnalysisReader() override;

    // Virtual functions keep their slot order.
    std::shared_ptr<CppSQLite3DB> getSQLiteDb() const override;

    // The functions below use the state of the external calibration file if one was chosen when the reader
    // was made, else the calibration that was stored during acquisition.

    // Text and bytes of table "CalibrationInfo"; empty when the key has no row.
    virtual std::optional<std::string> getCalibrationInfoString(Polarity polarity,
                                                                const std::string& key) const;
    virtual std::optional<std::vector<std::byte>> getCalibrationInfoBlob(Polarity polarity,
                                                                         const std::string& key) const;

    // Mass transformator of a frame; empty when its calibration id has no row. The compensation matters only
    // to re-calibrated states; calibrations of the acquisition are always compensated.
    virtual MzTrafoPtr getMzTrafo(std::int64_t frameId, Compensation compensation) const;

    // Mass transformator of the calibration stored during acquisition. Deliberate: always compensated,
    // whatever the argument says.
    virtual MzTrafoPtr getRawMzTrafo(std::int64_t frameId, Compensation ignored) const;

    // The transformator that all frames of a polarity share; a calibration of the acquisition fails when
    // there is none or more than one, a re-calibrated state without one gives an empty pointer.
    virtual MzTrafoPtr getReferenceMzTrafo(Polarity polarity) const;

    // Whether conversions use a state of the external calibration file, and the key of that state.
    virtual bool usingStateFromCalibrationFile() const;
    virtual std::optional<std::string> getCalibrationStateId() const;

    // Raises CorruptFrameDataError for a frame that does not exist.
    const FrameInfo& getFrameInfo(std::int64_t frameId) const;

protected:
    AnalysisReader(const std::filesystem::path& directory,
                   std::optional<calibration::CalibrationStateSelector> selector, AnalysisFormat format,
                   const char* loggerName);

    std::unique_ptr<KvdReaderImpl> impl;
    logging::Logger logger;
};

}  // namespace lumo::io::kova
