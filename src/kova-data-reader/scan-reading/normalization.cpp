#include "kova-data-reader/scan-reading/normalization.h"

#include <stdexcept>

#include "diag/throw.h"
#include "kova-data-reader/database/frame_info.h"

// By which factor intensities are multiplied, so that frames with different accumulation times can be
// compared. A frame with an accumulation time of 0 is left as it is. Frames are looked up only for a kind of
// normalisation that needs their times.
namespace lumo::io::kova {

namespace {

IntensityScale perAccumulationTime(double numerator, double accumulationTime) {
    return IntensityScale(accumulationTime == 0.0 ? 1.0 : numerator / accumulationTime);
}

}  // namespace

IntensityScale makeIntensityScale(NormalizationType type,
                                  const std::function<const FrameInfo&()>& getFrameInfo) {
    switch (type) {
        case NormalizationType::None:
            return {};
        case NormalizationType::DutyCycle: {
            const FrameInfo& info = getFrameInfo();
            return perAccumulationTime(info.rampTime, info.accumulationTime);
        }
        case NormalizationType::AccumulationTime100ms:
            return perAccumulationTime(100.0, getFrameInfo().accumulationTime);
        default:
            LUMO_THROW(std::runtime_error("decodeScanRange() : Unknown NormalizationType"));
    }
}

}  // namespace lumo::io::kova
