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

// What a kova_* handle points to: a reader of an analysis with mobility, and what one call leaves for the
// next. For one thread at a time. All members raise what the readers raise; the exported functions turn that
// into last errors.
class Instance : public InstanceBase<KovaInterface, kova::KvdReader> {
public:
    using InstanceBase::InstanceBase;

    // Returns the size in bytes that the result needs, and copies the result to `buffer` if it fits; else
    // `buffer` stays as it was.
    std::uint32_t readScans(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd,
                            std::span<std::byte> buffer, kova::NormalizationType type);

    // Converts indices, which may be fractional, to m/z or back, by the mass calibration of a frame. The
    // arrays have one length and may overlap. Empty arrays succeed for any frame.
    void mzConversionFunc(std::int64_t frameId, std::span<const double> in, std::span<double> out,
                          MassConversion conversion);

    // Converts scan numbers to 1/K0 or voltage, or back, by the mobility calibration of a frame, in the order
    // of the values. The arrays have one length. Empty arrays succeed for any frame.
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
