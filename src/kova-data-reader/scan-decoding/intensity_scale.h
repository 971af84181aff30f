#pragma once

#include <cstdint>
#include <limits>

namespace lumo::io::kova {

// The factor of a frame's intensities, and the rounding that goes with it. The vector forms repeat these
// operations in this order.
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

}  // namespace lumo::io::kova
