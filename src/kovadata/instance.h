#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/scan-reading/packed_scans.h"
#include "kovadata/instance_base.h"
#include "kovadata/interface_family.h"
#include "kovadata/mass_conversion.h"

namespace lumo::io {

// What a kova_* handle points to.
class Instance : public InstanceBase<KovaInterface, kova::KvdReader> {
public:
    using InstanceBase::InstanceBase;

    // Size in bytes that the result needs; it is copied to `buffer` only when it fits.
    std::uint32_t readScans(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd,
                            std::span<std::byte> buffer, kova::NormalizationType type);

    // Fractional index to m/z and back; the arrays may overlap. Nothing is looked at when they are empty.
    void mzConversionFunc(std::int64_t frameId, std::span<const double> in, std::span<double> out,
                          MassConversion conversion);

    // Scan number to 1/K0 or voltage and back, one value after the other. Nothing is looked at when there is
    // none.
    using MobConversion = void (::lumo::calibration::kova::IArrayTransformator::*)(std::span<const double>,
                                                                                   std::span<double>) const;
    void mobConversionFunc(std::int64_t frameId, std::span<const double> in, std::span<double> out,
                           MobConversion method) const;

private:
    std::int64_t mzTrafoFrameId = -1;  // the frame that mzTrafo was fetched for
    kova::KvdReader::MzTrafoPtr mzTrafo;
    kova::PackedScanReader packedScans{reader.scans()};
};

}  // namespace lumo::io
