// Queries over whole runs: structures of any size with any values give a table, or fail with a text.
#include <array>
#include <limits>
#include <memory>

#include "common/byte_source.h"
#include "common/require.h"
#include "fixtures/small_analyses.h"
#include "run/table.h"

namespace {

constexpr std::int64_t kParent = 1;

kvr_options optionsWith(std::uint64_t budget) {
    kvr_options options = {};
    options.threads = 1;
    options.memory_budget = budget;
    return options;
}

// One frame is damaged, one has no calibration.
fixtures::AnalysisBuilder partlyDamaged() {
    fixtures::AnalysisBuilder builder = fixtures::smallZorelRun(2);
    return builder.rawBlock({12, 0, 0, 0, 12, 0, 0, 0, 1, 2, 3, 4}, {.id = 7})
        .frame({{{1, 2}}}, {.id = 8, .mzCalibration = 9});
}

kvr_run* chosenRun(std::uint32_t number) {
    constexpr std::uint64_t kSmallBudget = 3000;
    static const run::OpenRun runs[] = {
        run::OpenRun(fixtures::smallZorelRun(1), optionsWith(0)),
        run::OpenRun(fixtures::smallZorelRun(2), optionsWith(0)),
        run::OpenRun(fixtures::smallZorelRun(2), optionsWith(kSmallBudget)),
        run::OpenRun(partlyDamaged(), optionsWith(0)),
        run::OpenRun(fixtures::smallSpectra(), optionsWith(0)),
    };
    return runs[number % std::size(runs)].run;
}

// Only as many bytes as the structure says that it has.
template <class Structure>
class SizedCopy {
public:
    SizedCopy(Structure whole, fuzz::ByteSource& source) {
        constexpr std::uint32_t sizes[] = {0, 4, 8, 9, sizeof(Structure) - 8, sizeof(Structure) + 40};
        const std::uint32_t choice = source.below(64);
        whole.size = choice < std::size(sizes) ? sizes[choice] : sizeof(Structure);
        bytes = std::make_unique<std::byte[]>(std::max<std::size_t>(4, whole.size));
        std::memcpy(bytes.get(), &whole, std::min<std::size_t>(sizeof whole, std::max(4U, whole.size)));
    }
    const Structure* get() const { return reinterpret_cast<const Structure*>(bytes.get()); }

private:
    std::unique_ptr<std::byte[]> bytes;
};

// Values of peaks of the runs, and strange ones.
kvr_range takeRange(fuzz::ByteSource& source) {
    using Limits = std::numeric_limits<double>;
    constexpr std::array kValues = {0.0,
                                    1.0,
                                    1.2,
                                    1.5,
                                    100.0,
                                    200.0,
                                    1e6,
                                    -0.0,
                                    -1.0,
                                    1e300,
                                    Limits::denorm_min(),
                                    Limits::max(),
                                    -Limits::max(),
                                    Limits::infinity(),
                                    -Limits::infinity(),
                                    Limits::quiet_NaN()};
    const auto take = [&] { return kValues[source.take<std::uint8_t>() % kValues.size()]; };
    return {take(), take()};
}

std::vector<std::int64_t> takeFrames(fuzz::ByteSource& source) {
    std::vector<std::int64_t> frames(source.below(source.below(16) == 0 ? 2000 : 4));
    std::generate(frames.begin(), frames.end(), [&] { return source.below(9); });
    return frames;
}

// What a call is asked, in the order of its bytes.
struct Asked {
    explicit Asked(fuzz::ByteSource& source)
        : frames(takeFrames(source)), query(takeQuery(source), source), control(takeControl(source), source) {
        targets.resize(source.below(source.below(16) == 0 ? 3000 : 12));
        for (kvr_target& target : targets) {
            target = {takeRange(source), takeRange(source), takeRange(source)};
        }
        for (kvr_axis& axis : axes) {
            const kvr_range ends = takeRange(source);
            axis = {source.below(4), source.below(20), ends.low, ends.high};
        }
    }

    kvr_query takeQuery(fuzz::ByteSource& source) {
        const kvr_range* chosen[3];
        for (std::size_t i = 0; i < 3; ++i) {
            ranges[i] = takeRange(source);
            chosen[i] = source.below(3) == 0 ? nullptr : &ranges[i];
        }
        kvr_query wanted = run::emptyQuery();
        wanted.mz = chosen[0];
        wanted.one_over_k0 = chosen[1];
        wanted.time = chosen[2];
        wanted.ms_level = source.below(4);
        wanted.intensities = source.below(4);
        wanted.scan_begin = source.below(4);
        wanted.scan_end = source.below(8);
        wanted.frames = frames.empty() ? nullptr : frames.data();
        wanted.num_frames = frames.size();
        return wanted;
    }

    kvr_control takeControl(fuzz::ByteSource& source) {
        kvr_control wanted =
            run::control(1 + source.below(16) / 15, source.below(4) == 0 ? source.below(40) : 0);
        wanted.skip_damaged = source.below(2);
        callsLeft = source.below(16) == 0 ? static_cast<int>(source.below(4)) : 1 << 30;
        wanted.context = &callsLeft;
        // A structure that is cut after the function has no context.
        wanted.progress = [](void* context, std::uint64_t, std::uint64_t) {
            return static_cast<std::uint32_t>(context == nullptr || (*static_cast<int*>(context))-- > 0);
        };
        return wanted;
    }

    std::vector<std::int64_t> frames;
    std::array<kvr_range, 3> ranges{};
    int callsLeft = 0;
    SizedCopy<kvr_query> query;
    SizedCopy<kvr_control> control;
    std::vector<kvr_target> targets;
    std::array<kvr_axis, 2> axes{};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::ByteSource source(data, size);
    kvr_run* const run = chosenRun(source.take<std::uint8_t>());
    const std::uint8_t function = source.take<std::uint8_t>();
    const std::uint32_t kind = source.take<std::uint8_t>();
    Asked asked(source);
    const kvr_query* const query = asked.query.get();
    const kvr_control* const control = asked.control.get();
    fuzz::failureOf([&] {
        run::read([&](ArrowArrayStream* out) {
            switch (function % 8) {
                case 0:
                    return kvr_peaks(run, query, kind, control, out);
                case 1:
                case 2:
                    return (function % 8 == 1 ? kvr_chromatograms : kvr_mobilograms)(
                        run, query, asked.targets.data(), asked.targets.size(), kind % 4, control, out);
                case 3:
                    return kvr_summed_spectrum(run, query, control, out);
                case 4:
                    return kvr_image(run, query, &asked.axes[0], &asked.axes[1], kind % 4, control, out);
                case 5:
                    return kvr_table(run, kind % 8, out);
                case 6:
                    return kvr_spectra(run, query, kind % 4, control, out);
                default:
                    return kvr_msms(run, kind < 9 ? nullptr : asked.frames.data(), asked.frames.size(),
                                    kind % 2 == 0 ? nullptr : &kParent, kind % 3, control, out);
            }
        });
    });
    return 0;
}
