#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/scan-decoding/scan_range_reader.h"
#include "logging/logger.h"

namespace lumo::io {

// What a kova_* handle points to.
class Instance {
public:
    Instance(const std::filesystem::path& directory, bool useRecalibratedState);

    static Instance& fromHandle(std::uint64_t handle) { return *reinterpret_cast<Instance*>(handle); }
    std::uint64_t toHandle() { return reinterpret_cast<std::uint64_t>(this); }

    // Size in bytes that the result needs; it is copied to `buffer` only when it fits.
    std::uint32_t readScans(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd,
                            std::span<std::byte> buffer, kova::NormalizationType type);

    // Fractional index to m/z and back; in-place arrays are fine. Nothing is looked at when they are empty.
    using MzConversion = void (calibration::ICalibrationTransformator::*)(std::span<const double>,
                                                                          std::span<double>) const;
    void mzConversionFunc(std::int64_t frameId, std::span<const double> in, std::span<double> out,
                          MzConversion method);

    // Scan number to 1/K0 or voltage and back.
    using MobConversion = void (calibration::kova::ITransformator::*)(std::span<const double>, std::span<double>) const;
    void mobConversionFunc(std::int64_t frameId, std::span<const double> in, std::span<double> out,
                           MobConversion method) const;

    const logging::Logger& getLogger() const { return logger; }
    kova::KvdReader& getReader() { return reader; }

private:
    logging::Logger logger;
    kova::KvdReader reader;
    std::int64_t mzTrafoFrameId = -1;         // the frame that mzTrafo was fetched for
    kova::KvdReader::MzTrafoPtr mzTrafo;
    kova::ScanRangeReader scanRangeReader{reader};
};

}  // namespace lumo::io
