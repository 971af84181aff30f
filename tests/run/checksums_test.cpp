// What the library gives for fixed numbers has the same bits on every processor, by every form of its kernels. The sums were
// taken once; what changes one changes results.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "fixtures/random.h"
#include "kovadata/kova.h"
#include "run/known_run.h"

namespace {

// FNV-1a over the bits of numbers, the same for either byte order.
class Checksum {
public:
    void add(std::uint64_t bits) {
        for (int shift = 0; shift < 64; shift += 8) {
            value = (value ^ (bits >> shift & 0xFF)) * 0x100000001B3;
        }
    }
    void add(const std::vector<double>& numbers) {
        add(numbers.size());
        for (const double number : numbers) {
            add(std::bit_cast<std::uint64_t>(number));
        }
    }
    void add(const std::function<std::uint32_t(ArrowArrayStream*)>& make) {
        for (const auto& [name, rows] : run::read(make)) {
            for (const std::vector<double>& row : rows) {
                add(row);
            }
        }
    }

    std::uint64_t value = 0xCBF29CE484222325;
};

double between(fixtures::Random& random, double low, double high) {
    return low + (high - low) * (random() * 0x1p-32);
}

// A run whose peaks have neighbours, and precursors of one to three frames.
fixtures::AnalysisBuilder densePeaks(int compression) {
    fixtures::Random random(11);
    fixtures::AnalysisBuilder builder = run::randomRun(compression, 9, 20);
    for (std::int64_t id = 10; id < 16; ++id) {
        fixtures::Frame frame(14);
        for (fixtures::Scan& scan : frame) {
            for (std::uint32_t start = 2000 + random.below(9); start < 150'000; start += 20'000) {
                for (std::uint32_t i = 0, count = 5 + random.below(30); i < count; ++i) {
                    scan.push_back({start + i, 1 + random.below(1000)});
                }
            }
        }
        builder.frame(frame, {.t1 = 26.5, .msMsType = 8});
    }
    for (std::int64_t id = 1; id < 9; ++id) {
        builder.precursor({.id = id, .parent = 1 + id % 2 * 8, .scanNumber = 4.5});
        for (std::int64_t frame = 12 + id % 4; frame >= 10 + id % 3; --frame) {
            builder.zorelMsMs(frame, id, id % 5, id % 5 + 6);
        }
    }
    return builder;
}

void addPeaks(Checksum& sum, kvr_run* run) {
    kvr_axis x{KVR_AXIS_MZ, 64, 100, 1500};
    kvr_axis y{KVR_AXIS_ONE_OVER_K0, 16, 0.5, 2};
    const kvr_target targets[] = {{{200, 400}, {0.7, 1.5}, {0, 9}}, {{400, 900}, {0.5, 2}, {2, 30}}};
    sum.add([&](ArrowArrayStream* stream) { return kvr_peaks(run, nullptr, 255, nullptr, stream); });
    sum.add([&](ArrowArrayStream* stream) { return kvr_summed_spectrum(run, nullptr, nullptr, stream); });
    sum.add([&](ArrowArrayStream* stream) {
        return kvr_image(run, nullptr, &x, &y, KVR_REDUCE_SUM, nullptr, stream);
    });
    for (const auto function : {kvr_chromatograms, kvr_mobilograms}) {
        sum.add([&](ArrowArrayStream* stream) {
            return function(run, nullptr, targets, 2, KVR_REDUCE_SUM, nullptr, stream);
        });
    }
}

void addMsms(Checksum& sum, kvr_run* run) {
    for (const std::uint32_t kind : {KVR_SPECTRUM_LINES, KVR_SPECTRUM_PROFILE}) {
        sum.add([&](ArrowArrayStream* stream) {
            return kvr_msms(run, nullptr, 0, nullptr, kind, nullptr, stream);
        });
    }
}

// Frames of the quadratic model, the cubic one and the one that is corrected by a polynomial.
fixtures::AnalysisBuilder models() {
    fixtures::AnalysisBuilder builder;
    builder.mzCalibration({.dC1 = 20.0, .dC2 = 30.0});
    builder.mzCalibration({.id = 2, .dC1 = 11.0, .coefficients = {301.0, 160100.0, 0.005, 1e-6, 2.5}});
    builder.mzCalibration(
        {.id = 3,
         .modelType = 2,
         .coefficients = {301.0, 159900.0, 0.004, 150, 1400, 100, 1500, 3, 4.0, 0.01, -5e-6}});
    for (const std::int64_t id : {1, 2, 3}) {
        builder.frame({}, {.t1 = 26.25, .t2 = 24.5, .mzCalibration = id});
    }
    return builder;
}

void addConversions(Checksum& sum, kvr_run* run) {
    constexpr std::uint32_t kCount = 2500;
    const std::uint64_t handle = kvr_lend_handle(run);
    fixtures::Random random(5);
    const struct {
        decltype(&kova_index_to_mz) convert;
        double low, high;
    } conversions[] = {{kova_index_to_mz, -10, 4e5},         {kova_mz_to_index, 50, 2000},
                       {kova_scannum_to_oneoverk0, -5, 920}, {kova_oneoverk0_to_scannum, 0.3, 2.5},
                       {kova_scannum_to_voltage, -5, 920},   {kova_voltage_to_scannum, 20, 250}};
    for (const std::int64_t frame : {1, 2, 3}) {
        for (const auto& [convert, low, high] : conversions) {
            std::vector<double> values(kCount);
            std::generate(values.begin(), values.end(),
                          [&, a = low, b = high] { return between(random, a, b); });
            ASSERT_EQ(convert(handle, frame, values.data(), values.data(), kCount), 1U) << run::lastError();
            sum.add(values);
        }
    }
    for (std::uint32_t i = 0; i < kCount; ++i) {
        const double mz = between(random, 100, 2000);
        const auto charge = static_cast<std::int32_t>(i % 4 + 1);
        sum.add({kova_oneoverk0_to_ccs_for_mz(between(random, 0.4, 2), charge, mz),
                 kova_ccs_to_oneoverk0_for_mz(between(random, 150, 900), charge, mz)});
    }
}

fixtures::AnalysisBuilder spectra() {
    fixtures::Random random(8);
    fixtures::AnalysisBuilder builder;
    builder.compression(3);
    for (std::uint32_t lines = 0; lines < 60; lines += 7) {
        fixtures::Spectrum spectrum;
        for (std::uint32_t i = 0; i < lines; ++i) {
            spectrum.lines.positions.push_back(between(random, 0, 4e5));
            spectrum.lines.intensities.push_back(static_cast<float>(between(random, 0, 1e6)));
            spectrum.lines.widths.push_back(static_cast<float>(between(random, 0, 9)));
            spectrum.profile.push_back(random());
        }
        builder.spectrum(spectrum);
    }
    return builder;
}

void addSpectra(Checksum& sum, kvr_run* run) {
    for (const std::uint32_t kind : {KVR_SPECTRUM_LINES, KVR_SPECTRUM_PROFILE}) {
        sum.add([&](ArrowArrayStream* stream) { return kvr_spectra(run, nullptr, kind, nullptr, stream); });
    }
}

struct ChecksumCase {
    const char* name;
    fixtures::AnalysisBuilder builder;
    void (*add)(Checksum& sum, kvr_run* run);
    std::uint64_t expected;
};

class Checksums : public testing::TestWithParam<ChecksumCase> {};

TEST_P(Checksums, AreThoseOfEveryProcessor) {
    const run::OpenRun opened(GetParam().builder);
    Checksum sum;
    GetParam().add(sum, opened.run);
    EXPECT_EQ(sum.value, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, Checksums,
    testing::Values(ChecksumCase{"PeaksOfScansCompressedOneByOne", densePeaks(1), addPeaks,
                                 0x2D76049DE35DB00D},
                    ChecksumCase{"Peaks", densePeaks(2), addPeaks, 0x8525F831AB5D36C3},
                    ChecksumCase{"MsMs", densePeaks(2), addMsms, 0xBF05D51859AF5CCE},
                    ChecksumCase{"Conversions", models(), addConversions, 0xDB1E726EA878C31D},
                    ChecksumCase{"SpectraWithoutMobility", spectra(), addSpectra, 0xDF1820C03385305F}),
    [](const auto& values) { return values.param.name; });

}  // namespace
