// The MS/MS spectra of all precursors of a run, beside bare decoding of the scans they are made of and beside
// the peak finder in its plain form, which touches every bin of every profile.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"
#include "reference/plain_peak_finder.h"

namespace {

// The calibration of every parent frame of a simulated run.
constexpr reference::WidthModel kWidths{300.0, 24000.0, 0.2, 15000.0};

// One precursor in one frame.
struct Stripe {
    std::int64_t frame;
    std::int64_t precursor;
    std::int64_t parent;
    std::uint32_t scanBegin;
    std::uint32_t scanEnd;
};

std::vector<Stripe> loadStripes(const std::filesystem::path& analysis) {
    constexpr const char* kSql =
        "SELECT m.Frame, p.Id, p.Parent, m.ScanNumBegin, m.ScanNumEnd FROM ZorelFrameMsMsInfo m "
        "JOIN Precursors p ON p.Id = m.Precursor ORDER BY m.Frame, p.Id";
    std::vector<Stripe> stripes;
    bench::forEachRow(analysis / "analysis.kvd", kSql, [&](sqlite3_stmt& row) {
        stripes.push_back({sqlite3_column_int64(&row, 0), sqlite3_column_int64(&row, 1),
                           sqlite3_column_int64(&row, 2),
                           static_cast<std::uint32_t>(sqlite3_column_int64(&row, 3)),
                           static_cast<std::uint32_t>(sqlite3_column_int64(&row, 4))});
    });
    return stripes;
}

// The run, opened, with its precursors and a buffer for the scans of one stripe.
struct Input {
    Input()
        : path(bench::simulatedRun(bench::kMsMsRun)),
          handle(kova_open(path.c_str(), 0)),
          stripes(loadStripes(path)) {
        for (const Stripe& stripe : stripes) {
            lastFrame[stripe.precursor] = stripe.frame;
        }
        for (const auto& [precursor, frame] : lastFrame) {
            precursors.push_back(precursor);
        }
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    ~Input() { kova_close(handle); }

    // Words as kova_read_scans_v2() lays them out.
    const std::vector<std::uint32_t>& readScans(const Stripe& stripe) {
        const auto size = static_cast<std::uint32_t>(4 * buffer.size());
        const std::uint32_t needed =
            kova_read_scans_v2(handle, stripe.frame, stripe.scanBegin, stripe.scanEnd, buffer.data(), size);
        if (needed == 0 || needed > size) {
            throw std::runtime_error("scans cannot be read");
        }
        return buffer;
    }

    std::filesystem::path path;
    std::uint64_t handle;
    std::vector<Stripe> stripes;
    std::map<std::int64_t, std::int64_t> lastFrame;
    std::vector<std::int64_t> precursors;
    std::vector<std::uint32_t> buffer = std::vector<std::uint32_t>(4'000'000);
};

Input& input() {
    static Input shared;
    return shared;
}

void report(benchmark::State& state, std::size_t peaks) {
    state.counters["precursors"] = static_cast<double>(input().precursors.size());
    state.counters["stripes"] = static_cast<double>(input().stripes.size());
    state.counters["peaks"] = static_cast<double>(peaks);
}

void decodingAlone(benchmark::State& state) {
    std::size_t peaks = 0;
    for (auto _ : state) {
        peaks = 0;
        for (const Stripe& stripe : input().stripes) {
            const std::vector<std::uint32_t>& words = input().readScans(stripe);
            peaks += std::accumulate(words.begin(), words.begin() + (stripe.scanEnd - stripe.scanBegin),
                                     std::size_t{0});
        }
    }
    report(state, peaks);
}

// What the profiles cannot do without: decoding, clearing the bins of each precursor, and one copy of them.
void decodingAndClearing(benchmark::State& state) {
    constexpr std::size_t kBins = 400'000;
    std::vector<std::int32_t> profile(kBins);
    std::vector<std::int32_t> copy(kBins);
    std::size_t peaks = 0;
    for (auto _ : state) {
        peaks = 0;
        for (const Stripe& stripe : input().stripes) {
            const std::vector<std::uint32_t>& words = input().readScans(stripe);
            peaks += std::accumulate(words.begin(), words.begin() + (stripe.scanEnd - stripe.scanBegin),
                                     std::size_t{0});
            if (input().lastFrame[stripe.precursor] == stripe.frame) {
                std::memset(profile.data(), 0, kBins * sizeof profile[0]);
                benchmark::ClobberMemory();
                std::memcpy(copy.data(), profile.data(), kBins * sizeof profile[0]);
                benchmark::ClobberMemory();
            }
        }
    }
    report(state, peaks);
}

void lineSpectra(benchmark::State& state) {
    std::size_t peaks = 0;
    const auto count = [](std::int64_t, std::uint32_t found, const double*, const float*, void* sum) {
        *static_cast<std::size_t*>(sum) += found;
    };
    for (auto _ : state) {
        peaks = 0;
        if (kova_read_zorel_msms_v2(input().handle, input().precursors.data(),
                                    static_cast<std::uint32_t>(input().precursors.size()), count,
                                    &peaks) != 1) {
            state.SkipWithError("spectra cannot be read");
        }
    }
    report(state, peaks);
}

void profiles(benchmark::State& state) {
    std::size_t bins = 0;
    const auto count = [](std::int64_t, std::uint32_t found, const std::int32_t*, void* sum) {
        *static_cast<std::size_t*>(sum) += found;
    };
    for (auto _ : state) {
        bins = 0;
        if (kova_read_zorel_profile_msms_v2(input().handle, input().precursors.data(),
                                            static_cast<std::uint32_t>(input().precursors.size()), count,
                                            &bins) != 1) {
            state.SkipWithError("profiles cannot be read");
        }
    }
    report(state, bins);
}

// Adds the peaks of a stripe to a profile with one bin per index.
void addPlainly(const std::vector<std::uint32_t>& words, std::size_t scans, std::vector<int>& profile) {
    std::size_t next = scans;
    for (std::size_t scan = 0; scan < scans; ++scan) {
        const std::size_t count = words[scan];
        if (count > 0) {
            profile.resize(std::max<std::size_t>(profile.size(), words[next + count - 1] + 100));
        }
        for (std::size_t i = 0; i < count; ++i) {
            profile[words[next + i]] += static_cast<int>(words[next + count + i]);
        }
        next += 2 * count;
    }
}

// The library converts spectra on the calling thread.
void convertOnThisThread(std::int64_t frame, std::vector<double>& positions) {
    kova_set_num_threads(1);
    kova_index_to_mz(input().handle, frame, positions.data(), positions.data(),
                     static_cast<std::uint32_t>(positions.size()));
}

void plainForm(benchmark::State& state) {
    std::size_t peaks = 0;
    for (auto _ : state) {
        peaks = 0;
        std::map<std::int64_t, std::vector<int>> sums;
        for (const Stripe& stripe : input().stripes) {
            std::vector<int>& profile = sums[stripe.precursor];
            addPlainly(input().readScans(stripe), stripe.scanEnd - stripe.scanBegin, profile);
            if (input().lastFrame[stripe.precursor] == stripe.frame) {
                reference::Peaks found = reference::findPeaks(profile, kWidths);
                convertOnThisThread(stripe.parent, found.positions);
                peaks += found.positions.size();
                sums.erase(stripe.precursor);
            }
        }
    }
    report(state, peaks);
}

BENCHMARK(decodingAlone)->Name("precursor_lines/floor")->Unit(benchmark::kMillisecond);
BENCHMARK(lineSpectra)->Name("precursor_lines/library")->Unit(benchmark::kMillisecond);
// Only to compare, and takes seconds.
BENCHMARK(plainForm)->Name("precursor_lines/plain")->Unit(benchmark::kMillisecond)->Repetitions(3);
BENCHMARK(decodingAndClearing)->Name("precursor_profiles/floor")->Unit(benchmark::kMillisecond);
BENCHMARK(profiles)->Name("precursor_profiles/library")->Unit(benchmark::kMillisecond);

}  // namespace
