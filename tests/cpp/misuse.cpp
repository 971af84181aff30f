// Uses that the compiler must refuse, each in a line of its own, beside uses that it must take.
#include <filesystem>
#include <kovadata/kovadata.hpp>

// clang-format off
void open(const std::filesystem::path& path) {
    kova::Analysis analysis(path);
    kova::Analysis moved(std::move(analysis));
    analysis = std::move(moved);
    kova::Analysis copied(analysis);           // error: deleted
    moved = analysis;                          // error: deleted
    kova::Analysis converted = path.string();  // error: conversion|no viable
    kova::Analysis numbered(path, 1);          // error: no matching
    kova::SpectrumAnalysis spectra(path.string(), kova::Calibration::recalibrated);
    kova::SpectrumAnalysis spectraCopied(spectra);  // error: deleted
}

void read(kova::Analysis& analysis, const kova::Analysis& shared, kova::Frame frame) {
    analysis.readFrame(1, 0, 2, frame);
    frame = analysis.readFrame(1, 0, 2);
    for (const kova::Scan scan : analysis.readFrame(1, 0, 2)) {
        static_cast<void>(scan.indices.front());
    }
    static_cast<void>(shared.readFrame(1, 0, 2));                  // error: discards qualifiers|not marked const|no matching
    static_cast<void>(analysis.readFrame(1, 0, 2).counts());       // error: deleted
    static_cast<void>(analysis.readFrame(1, 0, 2).scans());        // error: deleted
    static_cast<void>(analysis.readFrame(1, 0, 2).at(0));          // error: deleted
    static_cast<void>(analysis.readFrame(1, 0, 2).intensities(0)); // error: deleted
    frame.counts()[0] = 3;                                         // error: read-only|not assignable|const
    static_cast<void>(analysis.readFrame(1, 0, 2, true));          // error: no matching
}

void convert(kova::Analysis& analysis, std::vector<double> doubles, std::vector<float> floats,
             const std::vector<double> constant, std::vector<std::uint32_t> indices) {
    analysis.indexToMz(1, doubles, doubles);
    analysis.indexToMz(1, constant, doubles);
    analysis.indexToMz(1, indices, doubles);
    analysis.indexToMz(1, floats, doubles);    // error: no matching
    analysis.indexToMz(1, doubles, floats);    // error: no matching
    analysis.indexToMz(1, doubles, constant);  // error: no matching
    analysis.indexToMz(1, indices, indices);   // error: no matching
}

void callBack(kova::Analysis& analysis, std::span<const std::int64_t> ids, const std::vector<int>& narrow) {
    analysis.readMsMs(ids, [](std::int64_t, std::span<const double>, std::span<const float>) {});
    analysis.readMsMs(narrow, [](std::int64_t, std::span<const double>, std::span<const float>) {});       // error: no matching
    analysis.readMsMs(ids, [](std::int64_t, std::span<double>, std::span<const float>) {});                // error: no matching
    analysis.readMsMs(ids, [](std::int64_t, std::span<const std::int32_t>) {});                            // error: no matching
    analysis.readMsMsProfiles(ids, [](std::int64_t, std::span<const double>, std::span<const float>) {});  // error: no matching
    analysis.readMsMsOfFrame(1, nullptr);                                                                  // error: no matching
}
