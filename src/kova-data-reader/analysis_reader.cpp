#include "kova-data-reader/analysis_reader.h"

#include "kova-data-reader/kvd_reader_impl.h"

// What both formats share: each question about calibrations goes to the re-calibrated state if one is in use,
// else to the tables of the acquisition.
namespace lumo::io::kova {

AnalysisReader::AnalysisReader(const std::filesystem::path& directory,
                               std::optional<calibration::CalibrationStateSelector> selector,
                               AnalysisFormat format, const char* loggerName)
    : impl(std::make_unique<KvdReaderImpl>(directory, std::move(selector), format)),
      logger(logging::Logger::getLogger(loggerName)) {
    LUMO_LOG(logger, Debug,
             "Opened " << directory.string() << ", schema version " << impl->getSchemaVersionMajor() << '.'
                       << impl->getSchemaVersionMinor());
}

// In this file, since only here the implementation is a complete type.
AnalysisReader::AnalysisReader(AnalysisReader&&) noexcept = default;
AnalysisReader& AnalysisReader::operator=(AnalysisReader&&) noexcept = default;
AnalysisReader::~AnalysisReader() = default;

std::shared_ptr<CppSQLite3DB> AnalysisReader::getSQLiteDb() const { return impl->getSQLiteDb(); }

std::optional<std::string> AnalysisReader::getCalibrationInfoString(Polarity polarity,
                                                                    const std::string& key) const {
    const auto& external = impl->getExternalReader();
    return external ? external->getCalibrationInfoString(polarity, key)
                    : impl->getCalibrationReader().getCalibrationInfoString(polarity, key);
}

std::optional<std::vector<std::byte>> AnalysisReader::getCalibrationInfoBlob(Polarity polarity,
                                                                             const std::string& key) const {
    const auto& external = impl->getExternalReader();
    return external ? external->getCalibrationInfoBlob(polarity, key)
                    : impl->getCalibrationReader().getCalibrationInfoBlob(polarity, key);
}

AnalysisReader::MzTrafoPtr AnalysisReader::getMzTrafo(std::int64_t frameId, Compensation compensation) const {
    return impl->getMzTrafo(frameId, compensation);
}

AnalysisReader::MzTrafoPtr AnalysisReader::getRawMzTrafo(std::int64_t frameId,
                                                         Compensation /*ignored*/) const {
    return impl->getCalibrationReader().getMzTrafo(frameId, Compensation::On);
}

AnalysisReader::MzTrafoPtr AnalysisReader::getReferenceMzTrafo(Polarity polarity) const {
    const auto& external = impl->getExternalReader();
    return external ? external->getReferenceMzTrafo(polarity)
                    : impl->getCalibrationReader().getReferenceMzTrafo(polarity);
}

bool AnalysisReader::usingStateFromCalibrationFile() const { return impl->getExternalReader().has_value(); }

std::optional<std::string> AnalysisReader::getCalibrationStateId() const {
    const auto& external = impl->getExternalReader();
    return external ? std::optional<std::string>(external->getCalibrationStateId()) : std::nullopt;
}

const FrameInfo& AnalysisReader::getFrameInfo(std::int64_t frameId) const {
    return impl->frameTable().getFrameInfo(frameId);
}

}  // namespace lumo::io::kova
