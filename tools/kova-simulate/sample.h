#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "kova-simulate/chromatography.h"
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

// An ion and its intensity at some time.
using ElutingIon = std::pair<const Ion*, double>;

// All ions of the digested proteins that the instrument can see. Small samples are a mixture of known
// proteins; invented ones are added until there are as many ions as planned.
class Sample {
public:
    Sample(const Instrument& instrument, const Chromatography& plan, Random& random);

    // The strongest first.
    std::vector<ElutingIon> eluting(double time) const;

private:
    Chromatography plan;
    std::vector<Ion> ions;  // in the order of their retention times
};

// What the fragments of an ion look like on the detector.
std::vector<IsotopeLine> fragmentLines(const Instrument& instrument, const Ion& ion);

}  // namespace simulator
