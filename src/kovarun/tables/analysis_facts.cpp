#include "kovarun/tables/analysis_facts.h"

#include "kova-data-reader/scan-reading/scan_reader.h"
#include "kovarun/tables/metadata_tables.h"
#include "sqlite/cppsqlite3.h"
#include "sqlite/cppsqlite_tools.h"

// What opening an analysis has found out already, and single rows of the metadata. No frame is read.
namespace lumo::run {

namespace {

void addFramesFacts(const io::kova::KvdReader& frames, kvr_info& info) {
    info.has_mobility = 1;
    info.num_bins = frames.scans().binCount();
    info.normalization = static_cast<uint32_t>(frames.getDefaultNormalizationType());
}

void addSpectraFacts(CppSQLite3DB& db, kvr_info& info) {
    info.has_lines = sqlite::getProperty<bool>(db, "HasLineSpectra") ? 1 : 0;
    info.has_line_widths = sqlite::getProperty<bool>(db, "HasLineSpectraPeakWidth") ? 1 : 0;
    info.has_profiles = sqlite::getProperty<bool>(db, "HasProfileSpectra") ? 1 : 0;
}

}  // namespace

kvr_info analysisFacts(Reader& reader, AnalysisFormat format) {
    const std::shared_ptr<CppSQLite3DB> db = reader.analysis().getSQLiteDb();
    kvr_info info = {};
    info.recalibrated = reader.analysis().usingStateFromCalibrationFile() ? 1 : 0;
    info.storage = static_cast<uint32_t>(sqlite::getProperty<std::int32_t>(*db, "KovaCompressionType"));
    info.schema_major = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMajor");
    info.schema_minor = sqlite::getProperty<std::int32_t>(*db, "SchemaVersionMinor");
    if (format == AnalysisFormat::Mobility) {
        addFramesFacts(reader.frames(), info);
    } else {
        addSpectraFacts(*db, info);
    }
    return info;
}

}  // namespace lumo::run
