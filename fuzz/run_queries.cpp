// Queries over whole runs: structures of any size with any values. What a sound query gives is held against the plain form.
#include <cmath>
#include <limits>
#include <memory>

#include "common/byte_source.h"
#include "common/require.h"
#include "fixtures/small_analyses.h"
#include "run/query_maker.h"

namespace {

constexpr std::uint64_t kSmallBudget = 3000;

kvr_options optionsWith(std::uint64_t budget) {
    kvr_options options = {};
    options.threads = 1;
    options.memory_budget = budget;
    return options;
}

struct OpenedRun {
    OpenedRun(const fixtures::AnalysisBuilder& builder, std::uint64_t budget, bool isWhole)
        : opened(builder, optionsWith(budget)) {
        if (isWhole) {
            known = std::make_unique<run::KnownRun>(opened.run);
        }
    }
    run::OpenRun opened;
    std::unique_ptr<run::KnownRun> known;
};

// One frame is damaged, one has no calibration.
fixtures::AnalysisBuilder partlyDamaged() {
    fixtures::AnalysisBuilder builder = fixtures::smallZorelRun(2);
    return builder.rawBlock({12, 0, 0, 0, 12, 0, 0, 0, 1, 2, 3, 4}, {.id = 7})
        .frame({{{1, 2}}}, {.id = 8, .mzCalibration = 9});
}

const OpenedRun& chosenRun(std::uint32_t number) {
    static const OpenedRun runs[] = {{run::randomRun(1, 7, 5), 0, true},
                                     {run::randomRun(2, 7, 5), 0, true},
                                     {run::randomRun(2, 7, 5), kSmallBudget, true},
                                     {partlyDamaged(), 0, false},
                                     {fixtures::smallSpectra(), 0, false}};
    return runs[number % std::size(runs)];
}

// Only as many bytes as the structure says that it has.
template <class Structure>
class SizedCopy {
public:
    SizedCopy(Structure whole, fuzz::ByteSource& source) {
        constexpr std::uint32_t sizes[] = {0, 4, 8, 9, sizeof(Structure) - 8, sizeof(Structure) + 40};
        const std::uint32_t choice = source.below(64);
        whole.size = choice < std::size(sizes) ? sizes[choice] : sizeof(Structure);
        isWhole = whole.size >= sizeof(Structure);
        bytes = std::make_unique<std::byte[]>(std::max<std::size_t>(4, whole.size));
        std::memcpy(bytes.get(), &whole, std::min<std::size_t>(sizeof whole, std::max(4U, whole.size)));
    }
    const Structure* get() const { return reinterpret_cast<const Structure*>(bytes.get()); }
    bool isWhole = true;

private:
    std::unique_ptr<std::byte[]> bytes;
};

bool isSound(const kvr_range* range) { return range == nullptr || range->low <= range->high; }

bool isSound(const kvr_query& query) {
    return isSound(query.mz) && isSound(query.one_over_k0) && isSound(query.time) && query.ms_level < 3 &&
           query.intensities < 3 && (query.scan_end == 0 || query.scan_begin <= query.scan_end) &&
           std::find(query.frames, query.frames + query.num_frames, -1) == query.frames + query.num_frames;
}

bool isSound(const std::vector<kvr_target>& targets) {
    return std::all_of(targets.begin(), targets.end(), [](const kvr_target& target) {
        return isSound(&target.mz) && isSound(&target.one_over_k0) && isSound(&target.time);
    });
}

bool isSound(const kvr_axis& axis) { return axis.low < axis.high && std::isfinite(axis.high - axis.low); }

struct Call {
    fuzz::ByteSource& source;
    const OpenedRun& on;
    const kvr_query* query;
    const kvr_control* control;
    bool mustSucceed;

    kvr_run* run() const { return on.opened.run; }

    // The table that a call makes; empty when it fails, which sound ones must not.
    std::optional<run::Table> read(const std::function<std::uint32_t(ArrowArrayStream*)>& make) const {
        std::optional<run::Table> table;
        const std::string failure = fuzz::failureOf([&] { table = run::read(make); });
        fuzz::require(failure.empty() || !mustSucceed || failure.find("memory budget") != std::string::npos,
                      failure.c_str());
        return table;
    }
};

void takePeaks(Call call) {
    const std::optional<run::Table> table = call.read([&](ArrowArrayStream* stream) {
        return kvr_peaks(call.run(), call.query, 255 >> call.source.below(2), call.control, stream);
    });
    if (call.mustSucceed && table && table->contains("one_over_k0")) {
        fuzz::require(*table == call.on.known->peakTable(*call.query), "the peaks in the box");
    }
}

void takeTargets(Call call, const std::vector<kvr_target>& targets) {
    const std::uint32_t reduce = call.source.below(4);
    const bool isMobilogram = call.source.below(2) == 0;
    call.mustSucceed = call.mustSucceed && reduce < 3 && isSound(targets);
    std::optional<run::Table> table = call.read([&](ArrowArrayStream* stream) {
        return (isMobilogram ? kvr_mobilograms : kvr_chromatograms)(
            call.run(), call.query, targets.data(), targets.size(), reduce, call.control, stream);
    });
    if (call.mustSucceed && table && targets.size() < 50) {
        const run::KnownRun& known = *call.on.known;
        fuzz::require(
            (*table)["intensity"] == (isMobilogram ? known.mobilograms(*call.query, targets, reduce)
                                                   : known.chromatograms(*call.query, targets, reduce)),
            "the reduced targets");
    }
}

void takeSpectrum(const Call& call) {
    const std::optional<run::Table> table = call.read([&](ArrowArrayStream* stream) {
        return kvr_summed_spectrum(call.run(), call.query, call.control, stream);
    });
    if (call.mustSucceed && table) {
        fuzz::require(*table == call.on.known->summedSpectrum(*call.query), "the summed spectrum");
    }
}

void takeImage(Call call, kvr_axis x, kvr_axis y) {
    const std::uint32_t reduce = call.source.below(3);
    call.mustSucceed = call.mustSucceed && x.kind != y.kind && isSound(x) && isSound(y);
    std::optional<run::Table> table = call.read([&](ArrowArrayStream* stream) {
        return kvr_image(call.run(), call.query, &x, &y, reduce, call.control, stream);
    });
    if (call.mustSucceed && table) {
        fuzz::require((*table)["values"] == call.on.known->image(*call.query, x, y, reduce), "the image");
    }
}

void takeOthers(Call call) {
    call.mustSucceed = false;
    const std::vector<std::int64_t> ids = call.source.takeMany<std::int64_t>(3);
    const std::int64_t parent = call.source.below(4);
    const std::uint32_t kind = call.source.below(8);
    call.read([&](ArrowArrayStream* stream) { return kvr_table(call.run(), kind, stream); });
    call.read([&](ArrowArrayStream* stream) {
        return kvr_spectra(call.run(), call.query, kind, call.control, stream);
    });
    call.read([&](ArrowArrayStream* stream) {
        return kvr_msms(call.run(), kind < 4 ? nullptr : ids.data(), kind < 3 ? 0 : ids.size(),
                        parent == 0 ? nullptr : &parent, kind % 2, call.control, stream);
    });
}

kvr_control takeControl(fuzz::ByteSource& source, int& callsLeft) {
    kvr_control control =
        run::control(1 + source.below(16) / 15, source.below(4) == 0 ? source.below(40) : 0);
    control.skip_damaged = source.below(2);
    callsLeft = source.below(16) == 0 ? static_cast<int>(source.below(4)) : 1 << 30;
    control.context = &callsLeft;
    control.progress = [](void* context, std::uint64_t, std::uint64_t) {
        return static_cast<std::uint32_t>(context == nullptr || (*static_cast<int*>(context))-- > 0);
    };
    return control;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    const OpenedRun& on = chosenRun(source.take<std::uint8_t>());
    const std::uint8_t function = source.take<std::uint8_t>();
    run::QueryMaker maker(source, on.known ? *on.known : *chosenRun(1).known, true);
    run::MadeQuery made;
    maker.fill(made);
    int callsLeft = 0;
    const SizedCopy control(takeControl(source, callsLeft), source);
    const SizedCopy query(made.query, source);
    const bool isWhole = query.isWhole && control.isWhole && on.known && callsLeft > 4;
    const Call call = {source, on, query.get(), control.get(), isWhole && isSound(made.query)};
    switch (function % 5) {
        case 0:
            takePeaks(call);
            break;
        case 1: {
            std::vector<kvr_target> targets(source.below(source.below(16) == 0 ? 3000 : 12));
            std::generate(targets.begin(), targets.end(), [&] { return maker.target(); });
            takeTargets(call, targets);
            break;
        }
        case 2:
            takeSpectrum(call);
            break;
        case 3: {
            const kvr_axis x = maker.axis(source.below(3));
            takeImage(call, x, maker.axis(source.below(3)));
            break;
        }
        default:
            takeOthers(call);
    }
    return 0;
}
