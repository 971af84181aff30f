#pragma once

#include <span>
#include <vector>

#include "analysis-writer/frame.h"
#include "kova-simulate/random.h"
#include "kova-simulate/sample.h"

namespace simulator {

// Something that arrives during one frame: detector lines at one place of the mobility axis, with expected ion counts.
struct Arrival {
    double scan;
    double counts;  // expected over all scans and lines
    std::span<const IsotopeLine> lines;
};

// Turns arrivals into the peaks of frames: mobility and time-of-flight peak shapes, counting statistics, detector noise.
// Adapts the ion yield from frame to frame so that frames come close to the number of peaks asked for.
class FrameSynthesis {
public:
    FrameSynthesis(std::uint32_t scanCount, std::uint32_t sampleCount, std::uint32_t targetPeaks);

    // The frame is valid until the next call.
    const analysis_writer::Frame& synthesise(std::span<const Arrival> arrivals, Random& random);

    // Standard deviation of a mobility peak, in scans.
    double mobilityWidth() const { return scanWidth; }

private:
    void addArrivals(std::span<const Arrival> arrivals, double yieldOfFrame, Random& random);
    void addLine(analysis_writer::Scan& scan, double centre, double counts, Random& random);
    void addNoise(std::size_t peaks, Random& random);
    std::size_t mergeDuplicates();
    void clear();

    std::uint32_t scans;
    std::uint32_t samples;
    std::uint32_t target;
    double scanWidth;
    double yield = 1.0;
    bool adapted = false;
    analysis_writer::Frame frame;
};

}  // namespace simulator
