#include <gtest/gtest.h>

#include <map>
#include <set>

#include "fixtures/random.h"
#include "fixtures/small_analyses.h"
#include "kovadata/kova.h"
#include "kovadata/kvs.h"
#include "run/table.h"

namespace {

constexpr std::int64_t kDamaged = 7;
constexpr std::int64_t kPrecursors = 40;

std::int64_t firstFrame(std::int64_t precursor) { return 2 + precursor * 7 % 9; }
std::int64_t lastFrame(std::int64_t precursor) { return firstFrame(precursor) + precursor % 3; }

// Precursors over one to three frames of eleven.
fixtures::AnalysisBuilder precursorRun(bool isDamaged) {
    fixtures::Random random(3);
    fixtures::AnalysisBuilder builder;
    builder.frame({{{100, 5}}, {{2000, 7}}});
    for (std::int64_t id = 2; id <= 12; ++id) {
        fixtures::Frame frame(12);
        for (fixtures::Scan& scan : frame) {
            const std::uint32_t start = 3000 + random.below(50);
            for (std::uint32_t i = 0; i < 40; ++i) {
                scan.push_back({start + i, 1 + random.below(1000)});
            }
        }
        if (isDamaged && id == kDamaged) {
            builder.rawBlock({12, 0, 0, 0, 12, 0, 0, 0, 1, 2, 3, 4}, {.msMsType = 8});
        } else {
            builder.frame(frame, {.msMsType = 8});
        }
    }
    for (std::int64_t id = 1; id <= kPrecursors; ++id) {
        builder.precursor({.id = id, .parent = 1, .scanNumber = 4.5});
        for (std::int64_t frame = firstFrame(id); frame <= lastFrame(id); ++frame) {
            builder.zorelMsMs(frame, id, id % 5, id % 5 + 4);
        }
    }
    return builder;
}

template <class Intensity>
void take(std::int64_t id, const double* mz, const Intensity* intensities, std::uint32_t count,
          void* context) {
    run::Table& table = *static_cast<run::Table*>(context);
    table["precursor"].push_back({static_cast<double>(id)});
    if (mz != nullptr) {
        table["mz"].emplace_back(mz, mz + count);
    }
    table["intensity"].emplace_back(intensities, intensities + count);
}

// What the functions of single handles give for these precursors.
run::Table expected(const run::OpenRun& opened, const std::vector<std::int64_t>& ids, std::uint32_t kind) {
    run::Table table;
    const auto count = static_cast<std::uint32_t>(ids.size());
    const std::uint64_t handle = kvr_lend_handle(opened.run);
    const auto line = [](std::int64_t id, std::uint32_t peaks, const double* mz, const float* areas,
                         void* context) { take(id, mz, areas, peaks, context); };
    const auto profile = [](std::int64_t id, std::uint32_t points, const std::int32_t* values,
                            void* context) { take(id, nullptr, values, points, context); };
    EXPECT_EQ(kind == KVR_SPECTRUM_LINES
                  ? kova_read_zorel_msms_v2(handle, ids.data(), count, line, &table)
                  : kova_read_zorel_profile_msms_v2(handle, ids.data(), count, profile, &table),
              1U);
    return table;
}

TEST(PrecursorRows, OfSomeAreThoseOfTheTable) {
    const run::OpenRun opened(precursorRun(false));
    const std::vector<std::int64_t> some = {11, 3, 99, 3, 20};
    run::Table all = run::read(
        [&](ArrowArrayStream* stream) { return kvr_table(opened.run, KVR_TABLE_PRECURSORS, stream); });
    run::Table found = run::read([&](ArrowArrayStream* stream) {
        return kvr_precursors(opened.run, some.data(), some.size(), stream);
    });
    for (auto& [name, rows] : all) {
        EXPECT_EQ(found[name], (decltype(rows){rows[2], rows[10], rows[19]})) << name;
    }
}

TEST(PrecursorSpectra, AreThoseOfSingleCallsInTheSameOrder) {
    const run::OpenRun opened(precursorRun(false));
    std::vector<std::int64_t> ids;
    for (std::int64_t id = kPrecursors; id > 0; --id) {
        ids.push_back(id);
    }
    for (const std::uint32_t kind : {KVR_SPECTRUM_LINES, KVR_SPECTRUM_PROFILE}) {
        const run::Table all = expected(opened, ids, kind);
        for (const std::uint32_t threads : {1U, 4U}) {
            const kvr_control control = run::control(threads, 3);
            const auto read = [&](const std::vector<std::int64_t>* listed, const std::int64_t* parent) {
                return run::read(
                    [&](ArrowArrayStream* stream) {
                        return kvr_msms(opened.run, listed == nullptr ? nullptr : listed->data(),
                                        listed == nullptr ? 0 : listed->size(), parent, kind, &control,
                                        stream);
                    },
                    3);
            };
            const std::int64_t survey = 1;
            const std::int64_t other = 2;
            const std::vector<std::int64_t> some = {11, 3, 99, 3, 20};
            EXPECT_EQ(read(nullptr, nullptr), all);
            EXPECT_EQ(read(nullptr, &survey), all);
            EXPECT_TRUE(read(nullptr, &other)["precursor"].empty());
            EXPECT_EQ(read(&some, &survey), expected(opened, some, kind));
        }
    }
}

TEST(PrecursorSpectra, OfNumbersWithMoreThan32BitsAreToldApart) {
    const std::int64_t id = 7000000000;
    const kvr_control control = run::control(1);
    const auto make = [&](const run::OpenRun& opened) {
        return [&](ArrowArrayStream* stream) {
            return kvr_msms(opened.run, &id, 1, nullptr, KVR_SPECTRUM_LINES, &control, stream);
        };
    };
    const auto changed = [&](const std::string& values) {
        return precursorRun(false)
            .sql("UPDATE Precursors SET Id = 7000000000 WHERE Id = 40")
            .sql("UPDATE ZorelFrameMsMsInfo SET " + values + " WHERE Precursor = 40");
    };
    const run::OpenRun sound(changed("Precursor = 7000000000"));
    EXPECT_EQ(run::read(make(sound)), expected(sound, {id}, KVR_SPECTRUM_LINES));
    for (const auto& [value, text] : {std::pair{"Frame", "FrameId=5000000000: Frame doesn't exist"},
                                      {"ScanNumBegin", "scan_end must be >= scan_begin."},
                                      {"ScanNumEnd", "Scan number [12] out of range."}}) {
        const run::OpenRun wrong(changed("Precursor = 7000000000, " + std::string(value) + " = 5000000000"));
        EXPECT_NE(run::failureOf(make(wrong)).find(text), std::string::npos) << run::failureOf(make(wrong));
    }
}

TEST(PrecursorSpectra, LeaveOutThoseOfADamagedFrameAndTellOfItOnce) {
    const run::OpenRun sound(precursorRun(false));
    const run::OpenRun damaged(precursorRun(true));
    std::vector<std::int64_t> ids;
    for (std::int64_t id = 1; id <= kPrecursors; ++id) {
        if (firstFrame(id) > kDamaged || lastFrame(id) < kDamaged) {
            ids.push_back(id);
        }
    }
    const run::Table rest = expected(sound, ids, KVR_SPECTRUM_LINES);
    for (const std::uint32_t threads : {1U, 4U}) {
        kvr_control control = run::control(threads);
        const auto make = [&](ArrowArrayStream* stream) {
            return kvr_msms(damaged.run, nullptr, 0, nullptr, KVR_SPECTRUM_LINES, &control, stream);
        };
        EXPECT_NE(run::failureOf(make).find("FrameId=7"), std::string::npos) << run::failureOf(make);
        std::vector<std::int64_t> told;
        control.skip_damaged = 1;
        control.context = &told;
        control.damaged = [](void* context, std::int64_t frame, const char*) {
            static_cast<std::vector<std::int64_t>*>(context)->push_back(frame);
        };
        EXPECT_EQ(run::read(make), rest);
        EXPECT_EQ(told, std::vector{kDamaged});
    }
}

TEST(SpectraWithoutMobility, AreThoseOfSingleCalls) {
    const run::OpenRun opened(fixtures::smallSpectra());
    const std::uint64_t handle = kvr_lend_handle(opened.run);
    const auto read = [&](std::uint32_t kind) {
        const kvr_control control = run::control(2, 1);
        return run::read(
            [&](ArrowArrayStream* stream) {
                return kvr_spectra(opened.run, nullptr, kind, &control, stream);
            },
            1);
    };
    run::Table lines = read(KVR_SPECTRUM_LINES);
    ASSERT_EQ(lines["id"], (std::vector<std::vector<double>>{{1}, {2}}));
    EXPECT_EQ(lines["position"], (std::vector<std::vector<double>>{{100.5, 2000.25, 3000.0}, {7.0}}));
    EXPECT_EQ(lines["intensity"], (std::vector<std::vector<double>>{{5, 7, 9}, {8}}));
    EXPECT_EQ(lines["width"], (std::vector<std::vector<double>>{{0.5, 1.5, 2.5}, {1}}));
    for (std::size_t i = 0; i < 2; ++i) {
        std::vector<double> mz = lines["position"][i];
        ASSERT_EQ(kvs_index_to_mz(handle, static_cast<std::int64_t>(i + 1), mz.data(), mz.data(),
                                  static_cast<std::uint32_t>(mz.size())),
                  1U);
        EXPECT_EQ(lines["mz"][i], mz);
    }
    EXPECT_EQ(read(KVR_SPECTRUM_PROFILE)["intensity"],
              (std::vector<std::vector<double>>{{0, 3, 9, 4, 0, 1}, {}}));
}

}  // namespace
