// Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it, or the strongest line
// of a spectrum without ion mobility.
//
//     c++ -std=c++20 frame.cpp -o frame $(pkg-config --cflags --libs kovarun)
//     ./frame run.d 1        (frame 1, see `kova frames run.d`)
#include <algorithm>
#include <cstdio>
#include <string>

#include <kovadata/kovadata.hpp>
#include <kovadata/run.hpp>

static void printMsMs(kova::Analysis& analysis, std::int64_t id) try {
    for (const kova::MsMsSpectrum& spectrum : analysis.readMsMsOfFrame(id)) {
        const auto best = std::ranges::max_element(spectrum.intensities) - spectrum.intensities.begin();
        if (!spectrum.mz.empty()) {
            std::printf("precursor %lld: %zu peaks, m/z %.4f\n", static_cast<long long>(spectrum.precursor),
                        spectrum.mz.size(), spectrum.mz[static_cast<std::size_t>(best)]);
        }
    }
} catch (const kova::Error& error) {
    std::printf("no MS/MS spectra: %s\n", error.what());
}

static void printFrame(kova::Analysis analysis, std::int64_t id) {
    const kova::Frame frame = analysis.readFrame(id, 0, analysis.countScans(id));
    std::uint32_t highest = 0;
    double index = 0.0;
    double number = 0.0;
    for (const kova::Scan scan : frame) {
        const auto best = std::ranges::max_element(scan.intensities);
        if (best != scan.intensities.end() && *best > highest) {
            highest = *best;
            index = scan.indices[static_cast<std::size_t>(best - scan.intensities.begin())];
            number = scan.number;
        }
    }
    std::printf("intensity %u, m/z %.4f\n", highest, analysis.indexToMz(id, index));
    try {
        std::printf("1/K0 %.4f\n", analysis.scanToOneOverK0(id, number));
    } catch (const kova::Error&) {  // without mobility calibration
        std::printf("scan %.0f\n", number);
    }
    printMsMs(analysis, id);
}

static void printLines(kova::SpectrumAnalysis analysis, std::int64_t id) {
    const kova::LineSpectrum lines = analysis.readLines(id);
    const auto best = std::ranges::max_element(lines.intensities);
    if (best != lines.intensities.end()) {
        const double position = lines.positions[static_cast<std::size_t>(best - lines.intensities.begin())];
        std::printf("intensity %.0f, m/z %.4f\n", *best, analysis.indexToMz(id, position));
    }
}

int main(int argc, char** argv) try {
    if (argc != 3) throw std::invalid_argument("frame RUN FRAME");
    const std::int64_t frame = std::stoll(argv[2]);
    if (kova::Run(argv[1]).info().has_mobility != 0) {
        printFrame(kova::Analysis(argv[1]), frame);
    } else {
        printLines(kova::SpectrumAnalysis(argv[1]), frame);
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
