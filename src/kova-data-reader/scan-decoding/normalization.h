#pragma once

#include <cstdint>
#include <functional>
#include <limits>

namespace lumo::io::kova {

struct FrameInfo;

enum class NormalizationType : std::uint32_t {
    None = 0,
    AnalysisDefault = 1,
    DutyCycle = 2,
    AccumulationTime100ms = 4,
};

// What an intensity is multiplied with, if anything.
class IntensityScale {
public:
    IntensityScale() = default;
    // A factor of 1 changes no intensity, as halves are rounded down again.
    explicit IntensityScale(double givenFactor) : factor(givenFactor), identity(givenFactor == 1.0) {}

    bool isIdentity() const { return identity; }
    double multiplier() const { return factor; }

    // Integer part of intensity * factor + 0.5, limited to 32 bits; not-a-number gives 0.
    std::uint32_t operator()(std::uint32_t intensity) const {
        if (identity) {
            return intensity;
        }
        const double scaled = static_cast<double>(intensity) * factor + 0.5;
        constexpr double kMax = std::numeric_limits<std::uint32_t>::max();
        if (!(scaled >= 0.0)) {
            return 0;
        }
        return scaled >= kMax ? std::numeric_limits<std::uint32_t>::max()
                              : static_cast<std::uint32_t>(scaled);
    }

private:
    double factor = 1.0;
    bool identity = true;
};

// The scale of one frame. `getFrameInfo` is called only when the type needs the frame's times. Raises
// "decodeScanRange() : Unknown NormalizationType" for types other than None, DutyCycle and
// AccumulationTime100ms.
IntensityScale makeIntensityScale(NormalizationType type,
                                  const std::function<const FrameInfo&()>& getFrameInfo);

}  // namespace lumo::io::kova
