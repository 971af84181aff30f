#include "run/known_run.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <stdexcept>

#include "fixtures/random.h"
#include "kovadata/kova.h"

namespace run {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::uint32_t kSamples = 200'000;

double oneOf(const std::vector<double>& cell) { return cell.empty() ? kNaN : cell[0]; }
std::vector<double> cellOf(double value) {
    return std::isnan(value) ? std::vector<double>() : std::vector<double>{value};
}

// NaN where there is no calibration.
std::vector<double> converted(decltype(&kova_index_to_mz) convert, std::uint64_t handle, std::int64_t frame,
                              const std::vector<double>& values) {
    std::vector<double> results(values.size(), kNaN);
    if (convert(handle, frame, values.data(), results.data(), static_cast<std::uint32_t>(values.size())) ==
        0) {
        results.assign(values.size(), kNaN);
    }
    return results;
}

std::vector<std::uint32_t> readWords(decltype(&kova_read_scans_v2) read, std::uint64_t handle,
                                     const KnownFrame& frame) {
    std::vector<std::uint32_t> words(read(handle, frame.id, 0, frame.scans, nullptr, 0) / 4);
    const auto size = static_cast<std::uint32_t>(4 * words.size());
    if (size != 0 && read(handle, frame.id, 0, frame.scans, words.data(), size) != size) {
        throw std::runtime_error("a frame has two sizes");
    }
    return words;
}

bool isIn(const kvr_range* range, double value) {
    return range == nullptr || (value >= range->low && value <= range->high);
}

bool isInTarget(const kvr_range& range, double value) {
    return (range.low == -kInfinity && range.high == kInfinity) || isIn(&range, value);
}

bool isInTarget(const kvr_target& target, const KnownPeak& peak) {
    return isInTarget(target.mz, peak.mz) && isInTarget(target.one_over_k0, peak.mobility) &&
           isInTarget(target.time, peak.time);
}

void reduce(double& value, std::uint32_t intensity, std::uint32_t kind) {
    value = kind == KVR_REDUCE_SUM   ? value + intensity
            : kind == KVR_REDUCE_MAX ? std::max<double>(value, intensity)
                                     : value + 1;
}

std::int64_t cellOf(const kvr_axis& axis, const KnownPeak& peak) {
    const double value = peak.*valueOf(axis.kind);
    const double width = (axis.high - axis.low) / axis.bins;
    std::int64_t cell = -1;
    for (std::uint32_t k = 0; k < axis.bins && value <= axis.high; ++k) {
        cell = value >= axis.low + k * width ? k : cell;
    }
    return cell;
}

}  // namespace

double KnownPeak::*valueOf(std::uint32_t axisKind) {
    return axisKind == KVR_AXIS_TIME ? &KnownPeak::time
           : axisKind == KVR_AXIS_MZ ? &KnownPeak::mz
                                     : &KnownPeak::mobility;
}

KnownRun::KnownRun(kvr_run* run) : handle(kvr_lend_handle(run)) {
    kvr_info info = {};
    info.size = sizeof info;
    kvr_get_info(run, &info);
    lastIndex = info.num_bins - 1.0;
    Table table = read([run](ArrowArrayStream* stream) { return kvr_table(run, KVR_TABLE_FRAMES, stream); });
    for (std::size_t row = 0; row < table["id"].size(); ++row) {
        const std::vector<double>& level = table["ms_level"][row];
        KnownFrame frame = {static_cast<std::int64_t>(table["id"][row][0]),
                            oneOf(table["time"][row]),
                            level.empty() ? 0 : static_cast<int>(level[0]),
                            0,
                            {}};
        if (kvr_count_scans(run, frame.id, &frame.scans) == 0) {
            throw std::runtime_error(lastError());
        }
        readFrame(frame);
        all.insert(all.end(), frame.peaks.begin(), frame.peaks.end());
        known.push_back(std::move(frame));
    }
}

void KnownRun::readFrame(KnownFrame& frame) {
    const std::vector<std::uint32_t> words = readWords(kova_read_scans_v2, handle, frame);
    const std::vector<std::uint32_t> raw = readWords(kova_read_scans_internal, handle, frame);
    std::vector<double> numbers(frame.scans);
    std::iota(numbers.begin(), numbers.end(), 0.0);
    const std::vector<double> mobilities = converted(kova_scannum_to_oneoverk0, handle, frame.id, numbers);
    std::vector<double> indices;
    std::size_t at = frame.scans;
    for (std::uint32_t scan = 0; scan < frame.scans; ++scan) {
        for (const std::size_t end = at + words[scan]; at < end; ++at) {
            frame.peaks.push_back({frame.id, frame.time, frame.level, scan, words[at],
                                   words[at + words[scan]], raw.at(at + words[scan]), 0, mobilities[scan]});
            indices.push_back(words[at]);
        }
        at += words[scan];
    }
    const std::vector<double> masses = converted(kova_index_to_mz, handle, frame.id, indices);
    for (std::size_t i = 0; i < masses.size(); ++i) {
        frame.peaks[i].mz = masses[i];
    }
}

bool KnownRun::hasMobilities() const { return !all.empty() && !std::isnan(all.front().mobility); }

std::vector<const KnownFrame*> KnownRun::framesOf(const kvr_query& query) const {
    std::vector<const KnownFrame*> chosen;
    const auto add = [&](const KnownFrame& frame) {
        if ((query.ms_level == 0 || static_cast<int>(query.ms_level) == frame.level) &&
            isIn(query.time, frame.time)) {
            chosen.push_back(&frame);
        }
    };
    if (query.frames == nullptr) {
        std::for_each(known.begin(), known.end(), add);
    }
    for (std::uint64_t i = 0; query.frames != nullptr && i < query.num_frames; ++i) {
        add(*std::find_if(known.begin(), known.end(),
                          [&](const KnownFrame& frame) { return frame.id == query.frames[i]; }));
    }
    return chosen;
}

template <class Use>
void KnownRun::forEach(const kvr_query& query, const Use& use) const {
    std::size_t place = 0;
    for (const KnownFrame* const frame : framesOf(query)) {
        for (KnownPeak peak : frame->peaks) {
            if (isIn(query.mz, peak.mz) && isIn(query.one_over_k0, peak.mobility) &&
                peak.scan >= query.scan_begin && (query.scan_end == 0 || peak.scan < query.scan_end)) {
                peak.intensity = query.intensities == KVR_INTENSITIES_RAW ? peak.raw : peak.intensity;
                use(place, peak);
            }
        }
        ++place;
    }
}

Table KnownRun::peakTable(const kvr_query& query) const {
    Table table{{"frame", {}},     {"time", {}},      {"ms_level", {}}, {"scan", {}},
                {"tof_index", {}}, {"intensity", {}}, {"mz", {}},       {"one_over_k0", {}}};
    forEach(query, [&](std::size_t, const KnownPeak& peak) {
        table["frame"].push_back({static_cast<double>(peak.frame)});
        table["time"].push_back(cellOf(peak.time));
        table["ms_level"].push_back(cellOf(peak.level == 0 ? kNaN : peak.level));
        table["scan"].push_back({static_cast<double>(peak.scan)});
        table["tof_index"].push_back({static_cast<double>(peak.index)});
        table["intensity"].push_back({static_cast<double>(peak.intensity)});
        table["mz"].push_back(cellOf(peak.mz));
        table["one_over_k0"].push_back(cellOf(peak.mobility));
    });
    return table;
}

KnownRun::Values KnownRun::reduced(const kvr_query& query, const std::vector<kvr_target>& targets,
                                   std::uint32_t kind, Rows rows) const {
    const std::vector<const KnownFrame*> chosen = framesOf(query);
    std::size_t count = rows == Rows::Frames ? chosen.size() : 0;
    for (const KnownFrame* const frame : chosen) {
        count = rows == Rows::Frames ? count : std::max<std::size_t>(count, frame->scans);
    }
    Values values(count, std::vector<double>(targets.size()));
    forEach(query, [&](std::size_t place, const KnownPeak& peak) {
        for (std::size_t i = 0; i < targets.size(); ++i) {
            if (isInTarget(targets[i], peak)) {
                reduce(values[rows == Rows::Frames ? place : peak.scan][i], peak.intensity, kind);
            }
        }
    });
    return values;
}

Table KnownRun::summedSpectrum(const kvr_query& query) const {
    std::map<double, std::pair<double, double>> sums;
    std::map<std::pair<std::int64_t, std::uint32_t>, double> places;  // by the calibration of the first frame
    const std::vector<const KnownFrame*> chosen = framesOf(query);
    const auto inFirst = [&](decltype(&kova_index_to_mz) convert, double value) {
        return converted(convert, handle, chosen.front()->id, {value})[0];
    };
    const auto placeOf = [&](const KnownPeak& peak) {
        if (std::isnan(peak.mz) || inFirst(kova_index_to_mz, peak.index) == peak.mz) {
            return static_cast<double>(peak.index);
        }
        return std::clamp(std::floor(inFirst(kova_mz_to_index, peak.mz) + 0.5), 0.0, lastIndex);
    };
    forEach(query, [&](std::size_t, const KnownPeak& peak) {
        const auto [place, isNew] = places.try_emplace({peak.frame, peak.index});
        if (isNew) {
            place->second = placeOf(peak);
        }
        sums[place->second].first += peak.intensity;
        sums[place->second].second += 1;
    });
    Table table{{"tof_index", {}}, {"mz", {}}, {"intensity", {}}, {"count", {}}};
    for (const auto& [index, sum] : sums) {
        table["tof_index"].push_back({index});
        table["mz"].push_back(cellOf(inFirst(kova_index_to_mz, index)));
        table["intensity"].push_back({sum.first});
        table["count"].push_back({sum.second});
    }
    return table;
}

KnownRun::Values KnownRun::image(const kvr_query& query, const kvr_axis& x, const kvr_axis& y,
                                 std::uint32_t kind) const {
    Values cells(y.bins, std::vector<double>(x.bins));
    forEach(query, [&](std::size_t, const KnownPeak& peak) {
        const std::int64_t column = cellOf(x, peak);
        const std::int64_t row = cellOf(y, peak);
        if (column >= 0 && row >= 0) {
            reduce(cells[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)], peak.intensity,
                   kind);
        }
    });
    return cells;
}

fixtures::AnalysisBuilder randomRun(int compression, int frames, std::uint32_t leastScans) {
    fixtures::Random random(static_cast<std::uint64_t>(compression));
    fixtures::AnalysisBuilder builder;
    builder.compression(compression).digitizerSamples(kSamples);
    builder.mzCalibration({.dC1 = 20.0, .dC2 = 30.0});
    builder.mzCalibration({.id = 2, .coefficients = {301.0, 160100.0, 0.005, 0.0, 0.0}});
    builder.kovaCalibration({});
    builder.kovaCalibration(
        {.id = 2, .coefficients = {1.0, 900.0, 180.0, 60.0, 33.0, 1.0, 0.018, 116.0, 60.0, 200.0}});
    for (int i = 0; i < frames; ++i) {
        fixtures::Frame frame(leastScans + random.below(30));
        for (fixtures::Scan& scan : frame) {
            std::map<std::uint32_t, std::uint32_t> peaks;
            for (std::uint32_t count = i == 5 ? 0 : random.below(24); count > 0; --count) {
                // Many share an index, so that something is summed, sometimes to more than 32 bits hold.
                peaks[random.below(4) == 0 ? random.below(kSamples) : 1000 * random.below(150)] =
                    1 + random.below(random.below(16) == 0 ? 2'000'000'000 : 5000);
            }
            for (const auto& [index, intensity] : peaks) {
                scan.push_back({index, intensity});
            }
        }
        builder.frame(frame, {.time = 1.5 * i,
                              .accumulationTime = i % 2 == 0 ? 50.0 : 100.0,
                              .t1 = 25.0 + i % 4,
                              .mzCalibration = i < 2 * frames / 3 ? 1 : 2,
                              .kovaCalibration = i % 3 == 0 ? 2 : 1,
                              .msMsType = i % 3 == 1 ? 8 : 0});
    }
    // Frames are put together by what the metadata claim, so that several threads have something to do.
    return std::move(builder.sql("UPDATE Frames SET NumPeaks = 200000 WHERE Id % 3 = 0"));
}

}  // namespace run
