// Every peak is read and converted by the functions for single frames, and everything that a run gives is computed of these
// peaks in the plainest way.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "fixtures/random.h"
#include "kovadata/kova.h"
#include "run/table.h"

namespace {

using fixtures::Random;

constexpr std::uint32_t kSamples = 200'000;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct KnownPeak {
    std::int64_t frame;
    double time;
    int level;
    std::uint32_t scan;
    std::uint32_t index;
    std::uint32_t intensity;
    double mz;
    double mobility;
    double place;  // index by the calibration of the first frame
};

// Frames of two calibrations, temperatures that differ, an empty frame, and intensities that are scaled.
fixtures::AnalysisBuilder randomRun(int compression, Random& random) {
    fixtures::AnalysisBuilder builder;
    builder.compression(compression).digitizerSamples(kSamples);
    builder.mzCalibration({.dC1 = 20.0, .dC2 = 30.0});
    builder.mzCalibration({.id = 2, .coefficients = {301.0, 160100.0, 0.005, 0.0, 0.0}});
    builder.kovaCalibration({});
    builder.kovaCalibration(
        {.id = 2, .coefficients = {1.0, 900.0, 180.0, 60.0, 33.0, 1.0, 0.018, 116.0, 60.0, 200.0}});
    for (int i = 0; i < 14; ++i) {
        fixtures::Frame frame(20 + random.below(30));
        for (fixtures::Scan& scan : frame) {
            std::map<std::uint32_t, std::uint32_t> peaks;
            for (std::uint32_t count = i == 5 ? 0 : random.below(12); count > 0; --count) {
                // Many share an index, so that something is summed.
                peaks[random.below(4) == 0 ? random.below(kSamples) : 1000 * random.below(150)] =
                    1 + random.below(5000);
            }
            for (const auto& [index, intensity] : peaks) {
                scan.push_back({index, intensity});
            }
        }
        builder.frame(frame, {.time = 1.5 * i,
                              .accumulationTime = i % 2 == 0 ? 50.0 : 100.0,
                              .t1 = 25.0 + i % 4,
                              .mzCalibration = i < 9 ? 1 : 2,
                              .kovaCalibration = i % 3 == 0 ? 2 : 1,
                              .msMsType = i % 3 == 1 ? 8 : 0});
    }
    return builder;
}

double converted(decltype(&kova_index_to_mz) convert, std::uint64_t handle, std::int64_t frame,
                 double value) {
    double result = 0;
    EXPECT_EQ(convert(handle, frame, &value, &result, 1), 1U);
    return result;
}

std::vector<KnownPeak> allPeaks(const run::OpenRun& opened) {
    const std::uint64_t handle = kvr_lend_handle(opened.run);
    std::vector<KnownPeak> peaks;
    for (std::int64_t frame = 1; frame <= 14; ++frame) {
        std::uint32_t scans = 0;
        EXPECT_EQ(kvr_count_scans(opened.run, frame, &scans), 1U);
        std::vector<std::uint32_t> words(kova_read_scans_v2(handle, frame, 0, scans, nullptr, 0) / 4);
        kova_read_scans_v2(handle, frame, 0, scans, words.data(),
                           static_cast<std::uint32_t>(4 * words.size()));
        std::size_t at = scans;
        for (std::uint32_t scan = 0; scan < scans; ++scan) {
            for (std::uint32_t i = 0; i < words[scan]; ++i) {
                const double mz = converted(kova_index_to_mz, handle, frame, words[at + i]);
                peaks.push_back({frame, 1.5 * static_cast<double>(frame - 1), frame % 3 == 2 ? 2 : 1, scan,
                                 words[at + i], words[at + words[scan] + i], mz,
                                 converted(kova_scannum_to_oneoverk0, handle, frame, scan), 0});
            }
            at += std::size_t{2} * words[scan];
        }
    }
    return peaks;
}

struct Box {
    kvr_range mz{-kInfinity, kInfinity};
    kvr_range mobility{-kInfinity, kInfinity};
    kvr_range time{-kInfinity, kInfinity};

    bool contains(const KnownPeak& peak) const {
        const auto isIn = [](const kvr_range& range, double value) {
            return value >= range.low && value <= range.high;
        };
        return isIn(mz, peak.mz) && isIn(mobility, peak.mobility) && isIn(time, peak.time);
    }
};

// Bounds are those of peaks, so that it matters that ranges are closed.
kvr_range randomRange(Random& random, const std::vector<KnownPeak>& peaks, double KnownPeak::*value) {
    if (random.below(3) == 0) {
        return {-kInfinity, kInfinity};
    }
    const auto count = static_cast<std::uint32_t>(peaks.size());
    const double a = peaks[random.below(count)].*value;
    const double b = peaks[random.below(count)].*value;
    return {std::min(a, b), std::max(a, b)};
}

Box randomBox(Random& random, const std::vector<KnownPeak>& peaks) {
    return {randomRange(random, peaks, &KnownPeak::mz), randomRange(random, peaks, &KnownPeak::mobility),
            randomRange(random, peaks, &KnownPeak::time)};
}

double reduced(double before, std::uint32_t intensity, std::uint32_t reduce) {
    return reduce == KVR_REDUCE_SUM   ? before + intensity
           : reduce == KVR_REDUCE_MAX ? std::max<double>(before, intensity)
                                      : before + 1;
}

class Reductions : public testing::TestWithParam<int> {
protected:
    Random random{static_cast<std::uint64_t>(GetParam())};
    run::OpenRun opened{randomRun(GetParam(), random)};
    std::vector<KnownPeak> peaks = allPeaks(opened);
    Box box;
    kvr_query query = run::emptyQuery();
    std::vector<std::int64_t> frames;  // of the query
    std::vector<KnownPeak> inside;

    void choose() {
        box = randomBox(random, peaks);
        query.mz = &box.mz;
        query.one_over_k0 = random.below(2) == 0 ? nullptr : &box.mobility;
        if (query.one_over_k0 == nullptr) {
            box.mobility = {-kInfinity, kInfinity};
        }
        query.time = &box.time;
        query.ms_level = random.below(3);
        query.scan_begin = random.below(10);
        query.scan_end = random.below(2) == 0 ? 0 : query.scan_begin + random.below(30) + 1;
        frames.clear();
        for (std::int64_t frame = 1; frame <= 14; ++frame) {
            const double time = 1.5 * static_cast<double>(frame - 1);
            const std::uint32_t level = frame % 3 == 2 ? 2 : 1;
            if ((query.ms_level == 0 || query.ms_level == level) && time >= box.time.low &&
                time <= box.time.high) {
                frames.push_back(frame);
            }
        }
        inside.clear();
        std::copy_if(peaks.begin(), peaks.end(), std::back_inserter(inside), [this](const KnownPeak& peak) {
            return box.contains(peak) &&
                   (query.ms_level == 0 || static_cast<int>(query.ms_level) == peak.level) &&
                   peak.scan >= query.scan_begin && (query.scan_end == 0 || peak.scan < query.scan_end);
        });
    }

    // The same whatever the number of threads and the size of batches.
    run::Table read(const std::function<std::uint32_t(const kvr_control*, ArrowArrayStream*)>& make) {
        std::optional<run::Table> first;
        for (const auto& [threads, batchSize] : {std::pair(1U, 0), std::pair(3U, 7), std::pair(2U, 0)}) {
            const kvr_control control = run::control(threads, static_cast<std::uint64_t>(batchSize));
            const run::Table table =
                run::read([&](ArrowArrayStream* stream) { return make(&control, stream); },
                          batchSize == 0 ? INT64_MAX : batchSize);
            if (!first) {
                first = table;
            }
            EXPECT_EQ(*first, table) << threads << " threads";
        }
        return *first;
    }
};

TEST_P(Reductions, PeaksOfQueriesAreThoseInTheBox) {
    for (int round = 0; round < 25; ++round) {
        choose();
        run::Table expected{{"frame", {}},     {"time", {}},      {"ms_level", {}}, {"scan", {}},
                            {"tof_index", {}}, {"intensity", {}}, {"mz", {}},       {"one_over_k0", {}}};
        for (const KnownPeak& peak : inside) {
            expected["frame"].push_back({static_cast<double>(peak.frame)});
            expected["time"].push_back({peak.time});
            expected["ms_level"].push_back({static_cast<double>(peak.level)});
            expected["scan"].push_back({static_cast<double>(peak.scan)});
            expected["tof_index"].push_back({static_cast<double>(peak.index)});
            expected["intensity"].push_back({static_cast<double>(peak.intensity)});
            expected["mz"].push_back({peak.mz});
            expected["one_over_k0"].push_back({peak.mobility});
        }
        EXPECT_EQ(expected, read([&](const kvr_control* control, ArrowArrayStream* stream) {
                      return kvr_peaks(opened.run, &query, 255, control, stream);
                  }));
    }
}

TEST_P(Reductions, ChromatogramsAndMobilogramsReduceTheirTargets) {
    for (std::uint32_t round = 0; round < 15; ++round) {
        choose();
        const std::uint32_t reduce = round % 3;
        std::vector<Box> boxes(random.below(40));
        std::vector<kvr_target> targets;
        for (Box& target : boxes) {
            target = randomBox(random, peaks);
            targets.push_back({target.mz, target.mobility, target.time});
        }
        std::map<std::int64_t, std::vector<double>> ofFrame;
        std::map<std::uint32_t, std::vector<double>> ofScan;
        for (const std::int64_t frame : frames) {
            ofFrame[frame].resize(targets.size());
            std::uint32_t scans = 0;
            ASSERT_EQ(kvr_count_scans(opened.run, frame, &scans), 1U);
            for (std::uint32_t scan = 0; scan < scans; ++scan) {
                ofScan[scan].resize(targets.size());
            }
        }
        for (const KnownPeak& peak : inside) {
            for (std::size_t i = 0; i < boxes.size(); ++i) {
                if (boxes[i].contains(peak)) {
                    for (double* value : {&ofFrame[peak.frame][i], &ofScan[peak.scan][i]}) {
                        *value = reduced(*value, peak.intensity, reduce);
                    }
                }
            }
        }
        std::vector<std::vector<double>> expected;
        for (const auto& [frame, values] : ofFrame) {
            expected.push_back(values);
        }
        EXPECT_EQ(expected, read([&](const kvr_control* control, ArrowArrayStream* stream) {
                      return kvr_chromatograms(opened.run, &query, targets.data(), targets.size(), reduce,
                                               control, stream);
                  })["intensity"]);
        expected.clear();
        for (const auto& [scan, values] : ofScan) {
            expected.push_back(values);
        }
        EXPECT_EQ(expected, read([&](const kvr_control* control, ArrowArrayStream* stream) {
                      return kvr_mobilograms(opened.run, &query, targets.data(), targets.size(), reduce,
                                             control, stream);
                  })["intensity"]);
    }
}

TEST_P(Reductions, SpectraAreSummedAtTheNearestIndexOfTheFirstFrame) {
    const std::uint64_t handle = kvr_lend_handle(opened.run);
    for (int round = 0; round < 15; ++round) {
        choose();
        std::map<double, std::pair<double, double>> sums;
        for (const KnownPeak& peak : inside) {
            double index = peak.index;
            if (converted(kova_index_to_mz, handle, frames.front(), index) != peak.mz) {
                index = std::floor(converted(kova_mz_to_index, handle, frames.front(), peak.mz) + 0.5);
                index = std::clamp(index, 0.0, double{kSamples} - 1);
            }
            sums[index].first += peak.intensity;
            sums[index].second += 1;
        }
        run::Table expected{{"tof_index", {}}, {"mz", {}}, {"intensity", {}}, {"count", {}}};
        for (const auto& [index, sum] : sums) {
            expected["tof_index"].push_back({index});
            expected["mz"].push_back({converted(kova_index_to_mz, handle, frames.front(), index)});
            expected["intensity"].push_back({sum.first});
            expected["count"].push_back({sum.second});
        }
        EXPECT_EQ(expected, read([&](const kvr_control* control, ArrowArrayStream* stream) {
                      return kvr_summed_spectrum(opened.run, &query, control, stream);
                  }));
    }
}

TEST_P(Reductions, ImagesHoldPeaksInTheirCells) {
    const auto valueOf = [](const KnownPeak& peak, std::uint32_t kind) {
        return kind == KVR_AXIS_TIME ? peak.time : kind == KVR_AXIS_MZ ? peak.mz : peak.mobility;
    };
    const auto cellOf = [](const kvr_axis& axis, double value) {
        const double width = (axis.high - axis.low) / axis.bins;
        std::int64_t cell = -1;
        for (std::uint32_t k = 0; k < axis.bins && value <= axis.high; ++k) {
            cell = value >= axis.low + k * width ? k : cell;
        }
        return cell;
    };
    for (std::uint32_t round = 0; round < 15; ++round) {
        choose();
        const std::uint32_t reduce = round % 3;
        kvr_axis x = {round % 3, 1 + random.below(20), 0, 0};
        kvr_axis y = {(round + 1 + round / 3 % 2) % 3, 1 + random.below(20), 0, 0};
        for (kvr_axis* axis : {&x, &y}) {
            const auto count = static_cast<std::uint32_t>(peaks.size());
            const double a = valueOf(peaks[random.below(count)], axis->kind);
            const double b = valueOf(peaks[random.below(count)], axis->kind);
            axis->low = std::min(a, b);
            axis->high = std::max(a, b) + (a == b ? 1.0 : 0.0);
        }
        std::vector<std::vector<double>> expected(y.bins, std::vector<double>(x.bins));
        for (const KnownPeak& peak : inside) {
            const std::int64_t column = cellOf(x, valueOf(peak, x.kind));
            const std::int64_t row = cellOf(y, valueOf(peak, y.kind));
            if (column >= 0 && row >= 0) {
                double& cell = expected[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
                cell = reduced(cell, peak.intensity, reduce);
            }
        }
        EXPECT_EQ(expected, read([&](const kvr_control* control, ArrowArrayStream* stream) {
                      return kvr_image(opened.run, &query, &x, &y, reduce, control, stream);
                  })["values"]);
    }
}

INSTANTIATE_TEST_SUITE_P(Compressions, Reductions, testing::Values(1, 2));

}  // namespace
