#pragma once

namespace lumo::calibration {

// The polarity of the ions that a frame was measured with. Calibrations belong to one polarity each.
enum class Polarity { Positive, Negative };

// As databases write it.
constexpr char signOf(Polarity polarity) { return polarity == Polarity::Negative ? '-' : '+'; }

}  // namespace lumo::calibration
