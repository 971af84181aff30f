#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kova-simulate/instrument.h"
#include "kova-simulate/random.h"

namespace simulator {

// One line of an isotope pattern on the detector.
struct IsotopeLine {
    double index;
    double fraction;  // of the ion's intensity
};

// A peptide ion as it arrives: where in the run, on the mobility axis and on the detector.
struct Ion {
    std::string sequence;
    int charge;
    double monoisotopicMz;
    double averageMz;
    double largestPeakMz;
    double scan;           // centre on the mobility axis
    double retentionTime;  // s, apex
    double abundance;      // relative, at the apex
    std::vector<IsotopeLine> lines;
};

// The isotope lines of a composition at a charge, those that the detector sees.
struct Composed {
    double monoisotopicMz;
    double averageMz;
    double largestPeakMz;
    std::vector<IsotopeLine> lines;
};

// All ions of the digested proteins that the instrument can see, the most abundant first.
std::vector<Ion> makeSample(const Instrument& instrument, double runTime, Random& random);

// Share of an ion's apex intensity at a time: slightly tailed. `width` is the standard deviation of the rise, in s.
double elution(const Ion& ion, double time, double width);

// What the fragments of an ion look like on the detector.
std::vector<IsotopeLine> fragmentLines(const Instrument& instrument, const Ion& ion);

}  // namespace simulator
