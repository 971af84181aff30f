// Whole runs through the exported streams, beside what each cannot do without: bare decompression of the same
// blocks, or reading the same frames or precursors one by one. Streams on two threads stand beside the same
// streams on one, and what a frame costs in a run of 100,000 frames beside the same in a run of 10,000.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_analysis.h"
#include "kovadata/kova.h"
#include "kovadata/kvr.h"
#include "zstd_floor.h"

namespace {

constexpr std::uint32_t kScans = 900;
constexpr std::uint32_t kThreeColumns = KVR_COLUMN_SCAN | KVR_COLUMN_TOF_INDEX | KVR_COLUMN_INTENSITY;
constexpr std::uint32_t kAllColumns = 255;

struct Input : bench::LoadedRun {
    explicit Input(const bench::Run& simulated) : LoadedRun(simulated), run(open(path)) {}
    ~Input() { kvr_close(run); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    static kvr_run* open(const std::filesystem::path& path) {
        kvr_run* const opened = kvr_open(path.c_str(), nullptr);
        if (opened == nullptr) {
            throw std::runtime_error("a run could not be opened");
        }
        return opened;
    }

    kvr_run* run;
};

constexpr auto dense = &bench::loaded<bench::kDenseRun, Input>;
constexpr auto sparse = &bench::loaded<bench::kSparseRun, Input>;
constexpr auto msms = &bench::loaded<bench::kMsMsRun, Input>;
constexpr auto small = &bench::loaded<bench::kSmallFramesRun, Input>;
constexpr auto manySmall = &bench::loaded<bench::kManySmallFramesRun, Input>;

using GetInput = const Input& (*)();

void zstdAlone(benchmark::State& state, GetInput get) { bench::decompressBlocks(state, get().frames); }

enum class Floor { decompression, readingFrame, readingFrames };

// Reads all frames, or one of them after the other: the handle remembers the last one, so it would not read it again.
void readFrames(benchmark::State& state, GetInput get, Floor floor) {
    const Input& input = get();
    const std::uint64_t handle = kvr_lend_handle(input.run);
    std::vector<std::uint32_t> buffer(4'000'000);
    const auto read = [&](const bench::StoredFrame& frame) {
        if (kova_read_scans_v2(handle, frame.id, 0, frame.scans, buffer.data(),
                               static_cast<std::uint32_t>(4 * buffer.size())) == 0) {
            state.SkipWithError("a frame could not be read");
        }
    };
    // The handle's memory is there before the time counts.
    read(input.frames.back());
    std::size_t turn = 0;
    for (auto _ : state) {
        if (floor == Floor::readingFrame) {
            read(input.frames[turn++ % input.frames.size()]);
        } else {
            std::for_each(input.frames.begin(), input.frames.end(), read);
        }
        benchmark::ClobberMemory();
    }
}

// Every value of a query, read and dropped.
void loopOver(benchmark::State& state, GetInput get, const char* sql) {
    const std::filesystem::path database = get().path / "analysis.kvd";
    double sum = 0.0;
    for (auto _ : state) {
        bench::forEachRow(database, sql, [&](sqlite3_stmt& row) {
            for (int column = 0; column < sqlite3_column_count(&row); ++column) {
                sum += sqlite3_column_double(&row, column);
            }
        });
    }
    benchmark::DoNotOptimize(sum);
}

void readPrecursors(benchmark::State& state, GetInput get) {
    const Input& input = get();
    const std::uint64_t handle = kvr_lend_handle(input.run);
    const std::vector<std::int64_t> ids = bench::precursorIds(input.path);
    const auto ignore = [](std::int64_t, std::uint32_t, const double*, const float*, void*) {};
    for (auto _ : state) {
        if (kova_read_zorel_msms_v2(handle, ids.data(), static_cast<std::uint32_t>(ids.size()), ignore,
                                    nullptr) == 0) {
            state.SkipWithError("the spectra could not be read");
        }
    }
}

// Takes a stream to its end. Returns its rows, -1 on failure.
std::int64_t drain(ArrowArrayStream& stream) {
    std::int64_t rows = 0;
    for (;;) {
        ArrowArray batch = {};
        if (stream.get_next(&stream, &batch) != 0) {
            rows = -1;
            break;
        }
        if (batch.release == nullptr) {
            break;
        }
        rows += batch.length;
        batch.release(&batch);
    }
    stream.release(&stream);
    return rows;
}

// Makes a stream of a run. What asks for one frame takes the turn's.
struct Asked {
    kvr_run* run;
    std::int64_t frame;
};
using Ask = std::uint32_t (*)(const Asked&, const kvr_control&, ArrowArrayStream*);

void readStream(benchmark::State& state, GetInput get, Ask ask, std::uint32_t threads) {
    const Input& input = get();
    const kvr_control control = {.size = sizeof control, .threads = threads};
    std::size_t turn = 0;
    for (auto _ : state) {
        const Asked asked = {input.run, input.frames[turn++ % input.frames.size()].id};
        ArrowArrayStream stream = {};
        if (ask(asked, control, &stream) == 0 || drain(stream) <= 0) {
            state.SkipWithError("a stream failed or was empty");
        }
        benchmark::ClobberMemory();
    }
}

std::uint32_t threeColumns(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    return kvr_peaks(asked.run, nullptr, kThreeColumns, &control, stream);
}

std::uint32_t allColumns(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    return kvr_peaks(asked.run, nullptr, kAllColumns, &control, stream);
}

std::uint32_t oneBox(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    const kvr_range mz = {400.0, 800.0};
    const std::uint32_t begin = kScans / 2;
    const kvr_query query = {
        .size = sizeof query, .mz = &mz, .scan_begin = begin, .scan_end = begin + kScans / 50};
    return kvr_peaks(asked.run, &query, 0, &control, stream);
}

// Targets 20 ppm wide over the range in which peaks are, half of them limited in mobility too.
std::vector<kvr_target> thousandTargets() {
    std::vector<kvr_target> targets;
    for (int i = 0; i < 1000; ++i) {
        const double mz = 200.0 + 1.2 * i;
        const double k0 = 0.7 + 0.0006 * i;
        const kvr_range everything = {-INFINITY, INFINITY};
        targets.push_back({.mz = {mz * (1 - 1e-5), mz * (1 + 1e-5)},
                           .one_over_k0 = i % 2 == 0 ? everything : kvr_range{k0, k0 + 0.05},
                           .time = everything});
    }
    return targets;
}

std::uint32_t chromatograms(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    static const std::vector<kvr_target> targets = thousandTargets();
    const kvr_query query = {.size = sizeof query, .ms_level = 1};
    return kvr_chromatograms(asked.run, &query, targets.data(), targets.size(), KVR_REDUCE_SUM, &control,
                             stream);
}

std::uint32_t imageOf(const Asked& asked, const kvr_query* query, const kvr_control& control,
                      ArrowArrayStream* stream) {
    kvr_axis x = {.kind = KVR_AXIS_MZ, .bins = 800, .low = NAN, .high = NAN};
    kvr_axis y = {.kind = KVR_AXIS_ONE_OVER_K0, .bins = 400, .low = NAN, .high = NAN};
    return kvr_image(asked.run, query, &x, &y, KVR_REDUCE_SUM, &control, stream);
}

std::uint32_t imageOfFrame(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    const kvr_query query = {.size = sizeof query, .frames = &asked.frame, .num_frames = 1};
    return imageOf(asked, &query, control, stream);
}

std::uint32_t imageOfRun(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    return imageOf(asked, nullptr, control, stream);
}

std::uint32_t peaksOfFrame(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    const kvr_query query = {.size = sizeof query, .frames = &asked.frame, .num_frames = 1};
    return kvr_peaks(asked.run, &query, kAllColumns, &control, stream);
}

std::uint32_t allSpectra(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    return kvr_msms(asked.run, nullptr, 0, nullptr, KVR_SPECTRUM_LINES, &control, stream);
}

std::uint32_t oneSpectrum(const Asked& asked, const kvr_control& control, ArrowArrayStream* stream) {
    const std::int64_t precursor = 1;
    return kvr_msms(asked.run, &precursor, 1, nullptr, KVR_SPECTRUM_LINES, &control, stream);
}

std::uint32_t framesTable(const Asked& asked, const kvr_control&, ArrowArrayStream* stream) {
    return kvr_table(asked.run, KVR_TABLE_FRAMES, stream);
}

std::uint32_t precursorsTable(const Asked& asked, const kvr_control&, ArrowArrayStream* stream) {
    return kvr_table(asked.run, KVR_TABLE_PRECURSORS, stream);
}

// Opens the run for each call, so that nothing is remembered; without a question, that is all. One call takes up
// to ten seconds, so there are few of them, and they count processor time, which other work disturbs least.
void openAndAsk(benchmark::State& state, GetInput get, Ask ask) {
    const Input& input = get();
    const kvr_control control = {.size = sizeof control, .threads = 1};
    for (auto _ : state) {
        const std::clock_t start = std::clock();
        kvr_run* const run = Input::open(input.path);
        ArrowArrayStream stream = {};
        if (ask != nullptr &&
            (ask({run, input.frames.front().id}, control, &stream) == 0 || drain(stream) <= 0)) {
            state.SkipWithError("a stream failed or was empty");
        }
        kvr_close(run);
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        state.SetIterationTime(seconds / static_cast<double>(input.frames.size()));  // of a frame
    }
}

constexpr struct {
    const char* name;
    Ask ask;
} kGrowing[] = {
    {"run_growth_open", nullptr},
    {"run_growth_frames_table", &framesTable},
    {"run_growth_precursors_table", &precursorsTable},
    {"run_growth_one_precursor", &oneSpectrum},
    {"run_growth_msms", &allSpectra},
    {"run_growth_peaks", &threeColumns},
    {"run_growth_chromatograms", &chromatograms},
};

// The columns of the tables as simulated runs have them.
constexpr const char* kFrames =
    "SELECT Id, Time, Polarity, CASE WHEN MsMsType = 0 THEN 1 WHEN MsMsType > 0 THEN 2 END, NumScans, "
    "NumPeaks, SummedIntensities, AccumulationTime, RampTime, MzCalibration, KovaCalibration, KovaId FROM "
    "Frames ORDER BY Id";
constexpr const char* kPrecursors =
    "SELECT p.Id, p.Parent, p.ScanNumber, CASE WHEN p.MonoisotopicMz > 0 THEN p.MonoisotopicMz WHEN "
    "p.LargestPeakMz > 0 THEN p.LargestPeakMz WHEN p.AverageMz > 0 THEN p.AverageMz END, NULLIF(p.Charge, "
    "0), p.Intensity, f.Time, f.KovaCalibration FROM Precursors p LEFT JOIN Frames f ON f.Id = p.Parent "
    "ORDER "
    "BY p.Id";

constexpr struct {
    const char* name;
    Ask ask;
    Floor floor;
} kPaths[] = {
    {"run_peaks", &threeColumns, Floor::decompression},
    {"run_peaks_all_columns", &allColumns, Floor::decompression},
    {"run_box", &oneBox, Floor::decompression},
    {"run_chromatograms", &chromatograms, Floor::readingFrames},
    {"run_image_of_frame", &imageOfFrame, Floor::readingFrame},
    {"run_image", &imageOfRun, Floor::readingFrames},
};

template <class... Arguments>
void add(const std::string& name, Arguments... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), arguments...)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void addPaths(const std::string& peaks, GetInput get) {
    for (const auto& path : kPaths) {
        const std::string name = path.name + peaks;
        if (path.floor == Floor::decompression) {
            add(name + "/floor", zstdAlone, get);
        } else {
            add(name + "/floor", readFrames, get, path.floor);
        }
        add(name + "/library", readStream, get, path.ask, 1);
        if (path.floor != Floor::readingFrame) {  // one frame is one thread's work
            add(name + "_2t/floor", readStream, get, path.ask, 1);
            add(name + "_2t/library", readStream, get, path.ask, 2);
        }
    }
}

void addGrowing() {
    for (const auto& path : kGrowing) {
        for (const auto& [role, get] : {std::pair("/floor", small), std::pair("/library", manySmall)}) {
            benchmark::RegisterBenchmark((path.name + std::string(role)).c_str(), openAndAsk, get, path.ask)
                ->Unit(benchmark::kMicrosecond)
                ->UseManualTime()
                ->Iterations(1)
                ->Repetitions(3);
        }
    }
}

const int registered = [] {
    addPaths("_300k", dense);
    addPaths("_20k", sparse);
    add("run_peaks_of_small_frame/floor", readFrames, small, Floor::readingFrame);
    add("run_peaks_of_small_frame/library", readStream, small, &peaksOfFrame, 1);
    add("run_msms/floor", readPrecursors, msms);
    add("run_msms/library", readStream, msms, &allSpectra, 1);
    add("run_msms_2t/floor", readStream, msms, &allSpectra, 1);
    add("run_msms_2t/library", readStream, msms, &allSpectra, 2);
    add("run_msms_of_small_frames/floor", readPrecursors, small);
    add("run_msms_of_small_frames/library", readStream, small, &allSpectra, 1);
    add("run_frames_table/floor", loopOver, small, kFrames);
    add("run_frames_table/library", readStream, small, &framesTable, 1);
    add("run_precursors_table/floor", loopOver, small, kPrecursors);
    add("run_precursors_table/library", readStream, small, &precursorsTable, 1);
    addGrowing();
    return 0;
}();

}  // namespace
