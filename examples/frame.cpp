// Prints the strongest peak of a frame and of the MS/MS spectra of the precursors that were selected in it.
//
//     c++ -std=c++20 frame.cpp -o frame $(pkg-config --cflags --libs kovadata)
//     ./frame run.d 1
#include <algorithm>
#include <cstdio>
#include <string>

#include <kovadata/kovadata.hpp>

static void print(const std::string& run, std::int64_t id) {
    kova::Analysis analysis(run);
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
    std::printf("1/K0 %.4f\n", analysis.scanToOneOverK0(id, number));
    for (const kova::MsMsSpectrum& spectrum : analysis.readMsMsOfFrame(id)) {
        const auto best = std::ranges::max_element(spectrum.intensities) - spectrum.intensities.begin();
        if (!spectrum.mz.empty()) {
            std::printf("precursor %lld: %zu peaks, m/z %.4f\n", static_cast<long long>(spectrum.precursor),
                        spectrum.mz.size(), spectrum.mz[static_cast<std::size_t>(best)]);
        }
    }
}

int main(int argc, char** argv) try {
    if (argc != 3) throw std::invalid_argument("frame RUN FRAME");
    print(argv[1], std::stoll(argv[2]));
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
