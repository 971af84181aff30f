#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "calibration-state/calibration_state_selector.h"
#include "calibration-state/lock_mass_diagnostics.h"
#include "calibration/i_calibration_transformator.h"
#include "calibration/polarity.h"
#include "calibration/temperature_compensation.h"
#include "calibration/transformation.h"
#include "kova-data-reader/database/analysis_format.h"
#include "kova-data-reader/database/i_sqlite_reader.h"

namespace lumo::io::calibration {

class CalibrationReaderSqliteImpl;

// "calibration.sqlite" in the analysis directory.
std::filesystem::path getCalibrationFile(const std::filesystem::path& directory);

// One state of the external calibration database of an analysis, chosen when it is opened and never changed.
// Re-calibration programs add such states after the acquisition; the analysis itself stays as it was. The
// reader has a connection of its own. Movable. Used by one thread at a time.
class CalibrationReaderSqlite final : public ::lumo::io::kova::ISqliteReader {
public:
    using Polarity = ::lumo::calibration::Polarity;
    using MzTrafoPtr = ::lumo::calibration::ICalibrationTransformatorPtr;
    using MobTrafoPtr = std::unique_ptr<::lumo::calibration::kova::ITransformator>;

    // Opens the state that the selector chooses; empty when none fits. A database that is broken or of
    // another kind raises. In an analysis without mobility, tables that only frames with mobility need may be
    // missing.
    static std::optional<CalibrationReaderSqlite> getCalibrationReaderSqlite(
        const std::filesystem::path& file, const CalibrationStateSelector& selector,
        kova::AnalysisFormat format);

    CalibrationReaderSqlite(CalibrationReaderSqlite&&) noexcept;
    CalibrationReaderSqlite& operator=(CalibrationReaderSqlite&&) noexcept;
    ~CalibrationReaderSqlite() override;

    // Whether each frame has a mass calibration of its own.
    bool hasFrameMzTrafos() const;

    // The frame's own mass transformator. Raises when the state has none for single frames.
    MzTrafoPtr getMzTrafo(std::int64_t frameId) const;

    // The frame's own mass transformator where the state has them, else the polarity's reference, which may
    // be empty. The reference is compensated, if asked for, for the temperatures t1 and t2 at which the frame
    // was measured; a frame's own is not.
    MzTrafoPtr getMzTrafo(std::int64_t frameId, Polarity polarity, double t1, double t2,
                          ::lumo::calibration::TemperatureCompensation compensation) const;

    // Empty when the state has no reference for the polarity.
    MzTrafoPtr getReferenceMzTrafo(Polarity polarity) const;

    // Empty when the frame is not mapped to a mobility calibration.
    MobTrafoPtr getMobTrafo(std::int64_t frameId) const;

    // Rows of table "CalibrationInfo" of this state, looked up as in the analysis database.
    std::optional<std::string> getCalibrationInfoString(Polarity polarity, const std::string& key) const;
    std::optional<std::vector<std::byte>> getCalibrationInfoBlob(Polarity polarity,
                                                                 const std::string& key) const;

    std::vector<LockMassCalibrationDiagnostic> getLockMassCalibrationDiagnostics() const;

    // The state's key.
    const std::string& getCalibrationStateId() const;

    std::shared_ptr<CppSQLite3DB> getSQLiteDb() const override;

private:
    explicit CalibrationReaderSqlite(std::unique_ptr<CalibrationReaderSqliteImpl> implementation);

    std::unique_ptr<CalibrationReaderSqliteImpl> impl;
};

}  // namespace lumo::io::calibration
