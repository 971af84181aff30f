#include "kova-simulate/sample.h"

#include <algorithm>
#include <cmath>

#include "kova-simulate/chemistry.h"
#include "kova-simulate/peptides.h"
#include "kova-simulate/proteins.h"
#include "kova-simulate/proteome.h"

// From proteins to the ions that the instrument can see: digested, ionised, placed in time, mobility and m/z.
// Amounts and responses span orders of magnitude, as in samples.
namespace simulator {

namespace {

constexpr int kMissedCleavages = 2;
constexpr double kMissedShare = 0.2;     // of the amount, for each cut left out
constexpr double kIonsPerPeptide = 1.7;  // charge states within the ranges of mass and mobility, on average
constexpr double kLowestMz = 100.0;
constexpr double kHighestMz = 1690.0;

// The isotope lines of a composition at a charge, those that the detector sees.
struct Composed {
    double monoisotopicMz;
    double averageMz;
    double largestPeakMz;
    std::vector<IsotopeLine> lines;
};

struct Peptide {
    std::string sequence;
    double response;   // how many ions it gives
    double retention;  // s
};

Composed compose(const Instrument& instrument, const Composition& composition, int charge) {
    Composed result{};
    double strongest = 0.0;
    double abundance = 0.0;
    for (const Isotope& isotope : isotopePattern(composition)) {
        const double mz = isotope.mass / charge + kProtonMass;
        result.averageMz += mz * isotope.abundance;
        abundance += isotope.abundance;
        if (result.monoisotopicMz == 0.0) {
            result.monoisotopicMz = mz;
        }
        if (isotope.abundance > strongest) {
            strongest = isotope.abundance;
            result.largestPeakMz = mz;
        }
        if (mz > kLowestMz && mz < kHighestMz) {
            result.lines.push_back({instrument.indexOf(mz), isotope.abundance});
        }
    }
    result.averageMz /= abundance;
    return result;
}

// Charge states that a peptide takes: one proton for the N terminus and one for each basic residue.
std::pair<int, int> chargeRange(const std::string& sequence) {
    const auto basic = std::count_if(sequence.begin(), sequence.end(),
                                     [](char c) { return c == 'K' || c == 'R' || c == 'H'; });
    const int highest = std::clamp(1 + static_cast<int>(basic), 1, 4);
    return {sequence.size() > 12 ? std::min(2, highest) : 1, highest};
}

void addIons(std::vector<Ion>& ions, const Peptide& peptide, const Instrument& instrument, Random& random) {
    const Composition composition = residueComposition(peptide.sequence) + kWater;
    const double mass = monoisotopicMass(composition);
    const auto [lowest, highest] = chargeRange(peptide.sequence);
    for (int charge = lowest; charge <= highest; ++charge) {
        const Composed composed = compose(instrument, composition, charge);
        const double ccs = Instrument::peptideCcs(mass, charge) * (1.0 + 0.025 * random.normal());
        const double scan = instrument.scanOf(Instrument::oneOverK0(ccs, charge, composed.monoisotopicMz));
        const double share = charge == 2 ? 1.0 : 0.35;
        if (composed.lines.empty() || scan < 2.0 || scan > instrument.scanCount() - 3.0) {
            continue;
        }
        ions.push_back({peptide.sequence, charge, composed.monoisotopicMz, composed.averageMz,
                        composed.largestPeakMz, scan, peptide.retention, peptide.response * share,
                        composed.lines});
    }
}

void digest(const std::string& protein, double amount, std::vector<Peptide>& peptides, Random& random) {
    for (int missed = 0; missed <= kMissedCleavages; ++missed) {
        const double yield = amount * std::pow(kMissedShare, missed);
        for (std::string& sequence : tryptic(protein, missed)) {
            const double response = yield * std::exp(2.0 * random.normal());
            const double lateness = relativeRetention(sequence) + 0.02 * random.normal();
            peptides.push_back({std::move(sequence), response, lateness});
        }
    }
}

// The gradient is such that peptides elute evenly, in the order in which the column holds them.
void spreadEvenly(std::vector<Peptide>& peptides, const Chromatography& plan) {
    std::stable_sort(peptides.begin(), peptides.end(),
                     [](const Peptide& a, const Peptide& b) { return a.retention < b.retention; });
    const double span = plan.runTime + 2.0 * plan.margin;
    for (std::size_t i = 0; i < peptides.size(); ++i) {
        const double place = (static_cast<double>(i) + 0.5) / static_cast<double>(peptides.size());
        peptides[i].retention = place * span - plan.margin;
    }
}

std::vector<Peptide> makePeptides(std::size_t wanted, Random& random) {
    std::vector<Peptide> peptides;
    for (const Protein& protein : builtInProteins()) {
        digest(protein.sequence, std::exp(random.normal()), peptides, random);
    }
    while (peptides.size() < wanted) {
        digest(inventedProtein(random), std::exp(1.5 * random.normal() - 1.0), peptides, random);
    }
    return peptides;
}

}  // namespace

Sample::Sample(const Instrument& instrument, const Chromatography& chromatography, Random& random)
    : plan(chromatography) {
    std::vector<Peptide> peptides =
        makePeptides(static_cast<std::size_t>(static_cast<double>(plan.ions) / kIonsPerPeptide), random);
    spreadEvenly(peptides, plan);
    for (const Peptide& peptide : peptides) {
        addIons(ions, peptide, instrument, random);
    }
}

std::vector<ElutingIon> Sample::eluting(double time) const {
    const ElutionReach reach = elutionReach(plan.peakWidth);
    auto ion = std::lower_bound(ions.begin(), ions.end(), time - reach.after,
                                [](const Ion& a, double earliest) { return a.retentionTime < earliest; });
    std::vector<ElutingIon> eluting;
    for (; ion != ions.end() && ion->retentionTime <= time + reach.before; ++ion) {
        if (const double share = elutionShare(time - ion->retentionTime, plan.peakWidth); share > 0.0) {
            eluting.emplace_back(&*ion, share * ion->abundance);
        }
    }
    std::stable_sort(eluting.begin(), eluting.end(),
                     [](const ElutingIon& a, const ElutingIon& b) { return a.second > b.second; });
    return eluting;
}

std::vector<IsotopeLine> fragmentLines(const Instrument& instrument, const Ion& ion) {
    std::vector<IsotopeLine> lines;
    for (const Fragment& fragment : fragments(ion.sequence, ion.charge)) {
        const Composed composed = compose(instrument, fragmentComposition(fragment), fragment.charge);
        for (const IsotopeLine& line : composed.lines) {
            lines.push_back({line.index, 0.95 * fragment.intensity * line.fraction});
        }
    }
    for (const IsotopeLine& line : ion.lines) {  // some of the precursor stays whole
        lines.push_back({line.index, 0.05 * line.fraction});
    }
    return lines;
}

}  // namespace simulator
