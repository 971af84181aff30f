#include "calibration-state/calibration_reader_sqlite.h"

#include "calibration-state/calibration_reader_sqlite_impl.h"
#include "logging/logger.h"

// The public face of a state. A missing state is no failure but an empty result, so that whoever asked may
// fall back to the calibration of the acquisition; everything else that goes wrong is raised.
namespace lumo::io::calibration {

std::filesystem::path getCalibrationFile(const std::filesystem::path& directory) {
    return directory / "calibration.sqlite";
}

std::optional<CalibrationReaderSqlite> CalibrationReaderSqlite::getCalibrationReaderSqlite(
    const std::filesystem::path& file, const CalibrationStateSelector& selector,
    kova::AnalysisFormat format) {
    try {
        // Of `file` only the directory counts: the implementation looks for the file under the name that it
        // has in every analysis.
        return CalibrationReaderSqlite(
            std::make_unique<CalibrationReaderSqliteImpl>(file.parent_path(), selector, format));
    } catch (const NoMatchingCalibrationStateError& e) {
        const auto logger = logging::Logger::getLogger("io.calibration.CalibrationReaderSqlite");
        LUMO_LOG(logger, Info, e.what());
        return std::nullopt;
    }
}

CalibrationReaderSqlite::CalibrationReaderSqlite(std::unique_ptr<CalibrationReaderSqliteImpl> implementation)
    : impl(std::move(implementation)) {}
// In this file, since only here the implementation is a complete type.
CalibrationReaderSqlite::CalibrationReaderSqlite(CalibrationReaderSqlite&&) noexcept = default;
CalibrationReaderSqlite& CalibrationReaderSqlite::operator=(CalibrationReaderSqlite&&) noexcept = default;
CalibrationReaderSqlite::~CalibrationReaderSqlite() = default;

bool CalibrationReaderSqlite::hasFrameMzTrafos() const { return impl->hasFrameMzTrafos(); }

CalibrationReaderSqlite::MzTrafoPtr CalibrationReaderSqlite::getMzTrafo(std::int64_t frameId) const {
    return impl->getMzTrafo(frameId);
}

CalibrationReaderSqlite::MzTrafoPtr CalibrationReaderSqlite::getMzTrafo(
    std::int64_t frameId, Polarity polarity, double t1, double t2,
    ::lumo::calibration::TemperatureCompensation compensation) const {
    return impl->getMzTrafo(frameId, polarity, {t1, t2}, compensation);
}

CalibrationReaderSqlite::MzTrafoPtr CalibrationReaderSqlite::getReferenceMzTrafo(Polarity polarity) const {
    return impl->getRefMzTrafo(polarity).transformator;
}

CalibrationReaderSqlite::MobTrafoPtr CalibrationReaderSqlite::getMobTrafo(std::int64_t frameId) const {
    return impl->getMobTrafo(frameId);
}

std::optional<std::string> CalibrationReaderSqlite::getCalibrationInfoString(Polarity polarity,
                                                                             const std::string& key) const {
    const auto row = impl->getCalibrationInfoValue(polarity, key);
    return row ? std::optional<std::string>(row->getStringField(0)) : std::nullopt;
}

std::optional<std::vector<std::byte>> CalibrationReaderSqlite::getCalibrationInfoBlob(
    Polarity polarity, const std::string& key) const {
    const auto row = impl->getCalibrationInfoValue(polarity, key);
    return row ? std::optional<std::vector<std::byte>>(row->getBlobField(0)) : std::nullopt;
}

std::vector<LockMassCalibrationDiagnostic> CalibrationReaderSqlite::getLockMassCalibrationDiagnostics()
    const {
    return readLockMassCalibrationDiagnostics(*impl->getSQLiteDb(), impl->getStateId());
}

const std::string& CalibrationReaderSqlite::getCalibrationStateId() const { return impl->getKey(); }

std::shared_ptr<CppSQLite3DB> CalibrationReaderSqlite::getSQLiteDb() const { return impl->getSQLiteDb(); }

}  // namespace lumo::io::calibration
