#include "calibration/collisional_cross_section.h"
#include "kovadata/handle.h"
#include "kovadata/instance.h"
#include "kovadata/kova.h"

// Conversions of frames. Each exported function only states which conversion it is; what they have in common
// (handles, exceptions, last errors) is in the two functions at the top. The last two functions are formulas
// that need no analysis and cannot fail.
namespace {

using lumo::calibration::kova::IArrayTransformator;
using lumo::io::Instance;
using lumo::io::KovaInterface;
using lumo::io::MassConversion;

uint32_t convertMz(uint64_t handle, int64_t frameId, const double* in, double* out, uint32_t count,
                   MassConversion conversion) {
    return lumo::io::guarded<KovaInterface>(uint32_t{0}, [&] {
        lumo::io::instanceOf<Instance>(handle).mzConversionFunc(frameId, {in, count}, {out, count},
                                                                conversion);
        return uint32_t{1};
    });
}

uint32_t convertMobility(uint64_t handle, int64_t frameId, const double* in, double* out, uint32_t count,
                         Instance::MobConversion method) {
    return lumo::io::guarded<KovaInterface>(uint32_t{0}, [&] {
        lumo::io::instanceOf<Instance>(handle).mobConversionFunc(frameId, {in, count}, {out, count}, method);
        return uint32_t{1};
    });
}

}  // namespace

uint32_t kova_index_to_mz(uint64_t handle, int64_t frame_id, const double* index, double* mz, uint32_t cnt) {
    return convertMz(handle, frame_id, index, mz, cnt, MassConversion::IndexToMz);
}

uint32_t kova_mz_to_index(uint64_t handle, int64_t frame_id, const double* mz, double* index, uint32_t cnt) {
    return convertMz(handle, frame_id, mz, index, cnt, MassConversion::MzToIndex);
}

uint32_t kova_scannum_to_oneoverk0(uint64_t handle, int64_t frame_id, const double* scannum,
                                   double* oneoverk0, uint32_t cnt) {
    return convertMobility(handle, frame_id, scannum, oneoverk0, cnt,
                           &IArrayTransformator::scanNumbersToOneOverK0s);
}

uint32_t kova_oneoverk0_to_scannum(uint64_t handle, int64_t frame_id, const double* oneoverk0,
                                   double* scannum, uint32_t cnt) {
    return convertMobility(handle, frame_id, oneoverk0, scannum, cnt,
                           &IArrayTransformator::oneOverK0sToScanNumbers);
}

uint32_t kova_scannum_to_voltage(uint64_t handle, int64_t frame_id, const double* scannum, double* voltage,
                                 uint32_t cnt) {
    return convertMobility(handle, frame_id, scannum, voltage, cnt,
                           &IArrayTransformator::scanNumbersToVoltages);
}

uint32_t kova_voltage_to_scannum(uint64_t handle, int64_t frame_id, const double* voltage, double* scannum,
                                 uint32_t cnt) {
    return convertMobility(handle, frame_id, voltage, scannum, cnt,
                           &IArrayTransformator::voltagesToScanNumbers);
}

double kova_oneoverk0_to_ccs_for_mz(double ook0, int32_t charge, double mz) {
    return lumo::io::uncancelled(
        [&] { return lumo::calibration::kova::oneOverK0ToCcsForMz(ook0, charge, mz); });
}

double kova_ccs_to_oneoverk0_for_mz(double ccs, int32_t charge, double mz) {
    return lumo::io::uncancelled(
        [&] { return lumo::calibration::kova::ccsToOneOverK0ForMz(ccs, charge, mz); });
}
