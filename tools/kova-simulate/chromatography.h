#pragma once

#include <cstddef>
#include <cstdint>

namespace simulator {

// How a run is spread over time. A longer run holds more ions and a denser one more that elute at once, so
// that any part of any run looks alike. The recorded time is cut out of a longer gradient: ions elute at its
// ends as in its middle.
struct Chromatography {
    double runTime;    // s
    double peakWidth;  // standard deviation of the rise of a peak, in s
    double margin;     // s before and after the recorded time in which ions elute as well
    std::size_t ions;  // in runTime and both margins
};

Chromatography planChromatography(double runTime, double cycleTime, std::uint32_t peaksPerFrame);

// Share of its apex intensity that an ion has at a time after its apex: slightly tailed, 0 where it cannot be
// seen.
double elutionShare(double secondsAfterApex, double peakWidth);

// Seconds before and after the apex in which the share is not 0.
struct ElutionReach {
    double before;
    double after;
};
ElutionReach elutionReach(double peakWidth);

}  // namespace simulator
