#pragma once

#include <cstdint>
#include <functional>

#include "kova-data-reader/scan-decoding/intensity_scale.h"

namespace lumo::io::kova {

struct FrameInfo;

// How intensities are made comparable between frames. The default of an analysis follows from its schema
// version.
enum class NormalizationType : std::uint32_t {
    None = 0,
    AnalysisDefault = 1,
    DutyCycle = 2,
    AccumulationTime100ms = 4,
};

// The scale of one frame. `getFrameInfo` is called only when the type needs the frame's times. Raises
// "decodeScanRange() : Unknown NormalizationType" for types other than None, DutyCycle and
// AccumulationTime100ms.
IntensityScale makeIntensityScale(NormalizationType type,
                                  const std::function<const FrameInfo&()>& getFrameInfo);

}  // namespace lumo::io::kova
