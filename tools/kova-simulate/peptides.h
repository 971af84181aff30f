#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kova-simulate/chemistry.h"

namespace simulator {

// Peptides that trypsin makes of a protein: cut after K and R unless P follows, with `missedCleavages` cuts
// left out in each; lengths from 6 to 40.
std::vector<std::string> tryptic(std::string_view protein, int missedCleavages);

// A fragment of a peptide: the b ion ends after `position` residues, the y ion begins there.
struct Fragment {
    std::string_view sequence;
    bool isY;
    int charge;
    double intensity;  // relative; all fragments of a peptide together 1
};

// b and y ions of a peptide ion. Intensities follow the usual rules (y before b, stronger in front of proline
// and in the middle) and vary from bond to bond, the same way each time.
std::vector<Fragment> fragments(std::string_view peptide, int precursorCharge);

// Of the neutral fragment: its m/z is mass / charge + the mass of a proton.
Composition fragmentComposition(const Fragment& fragment);

// From 0 (early) to about 1 (late) in reversed-phase chromatography.
double relativeRetention(std::string_view peptide);

}  // namespace simulator
