#include "kova/run/physical_units.h"

#include <kovadata/kova.h>
#include <kovadata/kvs.h>

#include "kova/output/message.h"

namespace kova_tool {

bool PhysicalUnits::indexToMz(const FrameRow& frame, std::span<double> values) {
    const auto convert = run.kind() == RunKind::Mobility ? kova_index_to_mz : kvs_index_to_mz;
    const auto count = static_cast<std::uint32_t>(values.size());
    return convert(run.handle(), frame.id, values.data(), values.data(), count) != 0 ||
           noteFailure(frame.mzCalibration.has_value(), isMassTold);
}

bool PhysicalUnits::scanToOneOverK0(const FrameRow& frame, std::span<double> values) {
    if (run.kind() != RunKind::Mobility) {
        return false;
    }
    const auto count = static_cast<std::uint32_t>(values.size());
    return kova_scannum_to_oneoverk0(run.handle(), frame.id, values.data(), values.data(), count) != 0 ||
           noteFailure(frame.mobilityCalibration.has_value(), isMobilityTold);
}

bool PhysicalUnits::noteFailure(bool isCalibrationNamed, bool& isToldAlready) {
    if (isCalibrationNamed && !isToldAlready) {
        tell(run.lastHandleError());
        isToldAlready = true;
    }
    return false;
}

}  // namespace kova_tool
