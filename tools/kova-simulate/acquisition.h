#pragma once

#include <unordered_map>
#include <vector>

#include "kova-simulate/arrival.h"
#include "kova-simulate/precursor_schedule.h"
#include "kova-simulate/sample.h"

namespace simulator {

// The isotope lines of fragments, which are costly to compute and asked for again while an ion elutes.
class FragmentLines {
public:
    explicit FragmentLines(const Instrument& theInstrument) : instrument(theInstrument) {}

    // Valid until forgetIfMany() is called.
    std::span<const IsotopeLine> of(const Ion& ion);
    void forgetIfMany();

private:
    const Instrument& instrument;
    std::unordered_map<const Ion*, std::vector<IsotopeLine>> known;
};

// One MS1 frame and the MS/MS frames of the precursors found in it.
struct Cycle {
    std::size_t firstFrame;  // of the run, counted from 0
    std::size_t msmsFrames;
    std::vector<ElutingIon> eluting;
    std::vector<ScheduledPrecursor> precursors;
};

std::vector<Arrival> ms1Arrivals(const Cycle& cycle);
std::vector<Arrival> msmsArrivals(const Cycle& cycle, std::size_t msmsFrame, FragmentLines& fragments);

struct AcquisitionPlan {
    std::uint64_t seed;
    std::size_t frames;
    std::size_t framesPerCycle;
    double secondsPerFrame;
};

// What the instrument does when. Cycles are independent of each other and can be asked for in any order.
class Acquisition {
public:
    Acquisition(const AcquisitionPlan& thePlan, const Instrument& theInstrument, const Sample& theSample)
        : plan(thePlan), instrument(theInstrument), sample(theSample) {}

    std::size_t cycles() const { return (plan.frames + plan.framesPerCycle - 1) / plan.framesPerCycle; }
    Cycle cycle(std::size_t number) const;
    double timeOf(std::size_t frame) const { return static_cast<double>(frame) * plan.secondsPerFrame; }

private:
    AcquisitionPlan plan;
    const Instrument& instrument;
    const Sample& sample;
};

}  // namespace simulator
