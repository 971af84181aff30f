#include "kova-data-reader/analysis_reader.h"

#include "kova-data-reader/kvd_reader_impl.h"

namespace lumo::io::kova {

AnalysisReader::AnalysisReader(const std::filesystem::path& directory, bool useRecalibratedState, bool isKvd,
                               const char* loggerName)
    : impl(std::make_unique<KvdReaderImpl>(directory, useRecalibratedState, isKvd)),
      logger(logging::Logger::getLogger(loggerName)) {
    LUMO_LOG(logger, Debug, "Opened " << directory.string() << ", schema version " << impl->getSchemaVersionMajor()
                                      << '.' << impl->getSchemaVersionMinor());
}

AnalysisReader::AnalysisReader(AnalysisReader&&) noexcept = default;
AnalysisReader& AnalysisReader::operator=(AnalysisReader&&) noexcept = default;
AnalysisReader::~AnalysisReader() = default;

std::shared_ptr<CppSQLite3DB> AnalysisReader::getSQLiteDb() const { return impl->getSQLiteDb(); }

std::optional<std::string> AnalysisReader::getCalibrationInfoString(bool negative, const std::string& key) const {
    return impl->getCalibrationReader().getCalibrationInfoString(negative, key);
}

std::optional<std::vector<std::byte>> AnalysisReader::getCalibrationInfoBlob(bool negative,
                                                                             const std::string& key) const {
    return impl->getCalibrationReader().getCalibrationInfoBlob(negative, key);
}

AnalysisReader::MzTrafoPtr AnalysisReader::getMzTrafo(std::int64_t frameId, bool /*raw*/) const {
    return impl->getCalibrationReader().getMzTrafo(frameId, true);
}

AnalysisReader::MzTrafoPtr AnalysisReader::getRawMzTrafo(std::int64_t frameId, bool /*flag*/) const {
    return impl->getCalibrationReader().getMzTrafo(frameId, true);
}

AnalysisReader::MzTrafoPtr AnalysisReader::getReferenceMzTrafo(bool negative) const {
    return impl->getCalibrationReader().getReferenceMzTrafo(negative);
}

bool AnalysisReader::usingStateFromCalibrationFile() const { return impl->usingStateFromCalibrationFile(); }

std::optional<std::string> AnalysisReader::getCalibrationStateId() const { return std::nullopt; }

const FrameInfo& AnalysisReader::getFrameInfo(std::int64_t frameId) const { return impl->getFrameInfo(frameId); }

}  // namespace lumo::io::kova
