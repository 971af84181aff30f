#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "calibration-state/calibration_state_selector.h"
#include "calibration-state/frame_mapping.h"
#include "calibration-table-reader/calibration_builders.h"
#include "calibration-table-reader/calibration_table_reader.h"
#include "calibration/polarity.h"
#include "calibration/temperature_compensation.h"
#include "calibration/transformation.h"
#include "kova-data-reader/database/analysis_format.h"
#include "logging/logger.h"
#include "sqlite/cppsqlite3.h"

namespace lumo::io::calibration {

// A transformator with what is known of its dependence on temperatures; empty when there is none.
struct ReferenceMzTrafo {
    ::lumo::calibration::ICalibrationTransformatorPtr transformator;
    ::lumo::calibration::TemperatureCompensationInfo temperatureInfo;
};

// What CalibrationReaderSqlite stands for, on a heap object of its own so that its address stays the same
// when the reader is moved: readers of tables refer to the connection in here.
class CalibrationReaderSqliteImpl {
public:
    using Polarity = ::lumo::calibration::Polarity;
    using MzTrafoPtr = ::lumo::calibration::ICalibrationTransformatorPtr;

    // Raises NoMatchingCalibrationStateError when the selector finds no state, std::runtime_error for
    // anything else. Tables that this format or the chosen state can do without are looked at only when a
    // call needs them.
    CalibrationReaderSqliteImpl(const std::filesystem::path& directory,
                                const CalibrationStateSelector& selector, kova::AnalysisFormat format);

    const std::shared_ptr<CppSQLite3DB>& getSQLiteDb() const { return db; }
    const std::string& getKey() const { return key; }
    int getStateId() const { return stateId; }
    bool hasFrameMzTrafos() const { return hasFrameCalibrators; }

    MzTrafoPtr getMzTrafo(std::int64_t frameId);
    MzTrafoPtr getMzTrafo(std::int64_t frameId, Polarity polarity,
                          const ::lumo::calibration::Temperatures& measured,
                          ::lumo::calibration::TemperatureCompensation compensation);

    // Loaded when first asked for, and then kept. The transformator is shared: a caller that wants to change
    // it makes a copy.
    const ReferenceMzTrafo& getRefMzTrafo(Polarity polarity);

    std::unique_ptr<::lumo::calibration::kova::ITransformator> getMobTrafo(std::int64_t frameId);

    std::optional<CppSQLite3Query> getCalibrationInfoValue(Polarity polarity, const std::string& name);

private:
    struct DigitizerConstants {
        double timebase;
        double delay;
    };

    void readState(const CalibrationStateSelector& selector, const std::filesystem::path& directory,
                   kova::AnalysisFormat format);

    // A table of calibrations, of which only this state's rows are seen. Its reader is made at the first use.
    struct StateTable {
        const char* name;
        std::size_t numExtraColumns;
        const char* extraColumns;
        std::optional<CalibrationTableReader> reader;
    };
    // Makes the reader of a table at its first use; raises what is wrong with the table.
    const CalibrationTableReader& readerOf(StateTable& table);

    void requireTables(kova::AnalysisFormat format);
    void selectState(const CalibrationStateSelector& selector, const std::filesystem::path& directory);
    void checkSchemaVersion();
    void readDigitizerConstants();
    const DigitizerConstants& requireDigitizerConstants(const char* models) const;
    ReferenceMzTrafo loadRefMzTrafo(Polarity polarity);
    MzTrafoPtr loadFrameMzTrafo(std::int64_t frameId);
    MzTrafoPtr buildReference(CppSQLite3Query& row) const;
    MzTrafoPtr buildForFrame(CppSQLite3Query& row) const;

    logging::Logger logger = logging::Logger::getLogger("io.calibration.CalibrationReaderSqliteImpl");
    std::shared_ptr<CppSQLite3DB> db = std::make_shared<CppSQLite3DB>();
    std::string key;
    int stateId = 0;  // the rows of this state in all other tables have it
    StateTable refMzTable{"RefMzCalibration", 4, "c.T1, c.T2, c.dC1, c.dC2, ", {}};
    StateTable frameMzTable{"FrameMzCalibration", 0, "", {}};
    StateTable mobilityTable{"KovaCalibration", 0, "", {}};
    bool hasFrameCalibrators = false;
    std::optional<DigitizerConstants> digitizerConstants;  // of the time axis; none if the state has no row
    std::optional<FrameMapping> frameMapping;
    std::optional<FrameMapping> mobilityMapping;
    std::array<std::optional<ReferenceMzTrafo>, 2> references;  // by polarity
};

}  // namespace lumo::io::calibration
