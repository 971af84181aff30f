#include "kovarun/peaks/peak_columns.h"

#include <algorithm>
#include <cmath>

#include "diag/assert.h"
#include "kovadata/kvr.h"
#include "sys/work_counters.h"

// Peaks as columns. The decoder writes indices and intensities to their final place; the other columns are
// computed batch by batch, while a batch is still in the processor's cache. What a frame has appended is
// taken back if the frame fails, so a batch holds whole frames only.
//
// While a batch is being worked on, its indices and intensities lie after the counted ones, at room(0); they
// are counted last, so until then every step finds them there.
namespace lumo::run {

std::vector<arrow::Field> PeakColumns::schema(std::uint32_t wanted) {
    std::vector<arrow::Field> fields;
    const auto add = [&](std::uint32_t column, const char* name, const char* format,
                         arrow::Nulls nulls = arrow::Nulls::None) {
        if ((wanted & column) != 0) {
            fields.push_back({name, format, nulls});
        }
    };
    add(KVR_COLUMN_FRAME, "frame", "l");
    add(KVR_COLUMN_TIME, "time", "g", arrow::Nulls::Possible);
    add(KVR_COLUMN_MS_LEVEL, "ms_level", "c", arrow::Nulls::Possible);
    add(KVR_COLUMN_SCAN, "scan", "I");
    add(KVR_COLUMN_TOF_INDEX, "tof_index", "I");
    add(KVR_COLUMN_INTENSITY, "intensity", "I");
    add(KVR_COLUMN_MZ, "mz", "g", arrow::Nulls::Possible);
    add(KVR_COLUMN_ONE_OVER_K0, "one_over_k0", "g", arrow::Nulls::Possible);
    return fields;
}

void PeakColumns::append(FrameSource& frameSource, const FrameBox& frameBox, const FrameEntry& frame) {
    source = &frameSource;
    box = &frameBox;
    const std::size_t before = size();
    const std::size_t massNulls = masses.nullCount();
    const std::size_t mobilityNulls = mobilities.nullCount();
    try {
        if (!box->isEmpty()) {
            source->read(*this);
        }
    } catch (...) {
        takeBack(before, massNulls, mobilityNulls);
        throw;
    }
    addFrame(frame, size() - before);
}

// Columns grow one after the other, so at a failure some have less than others; each keeps at most what it
// had before.
void PeakColumns::takeBack(std::size_t rows, std::size_t massNulls, std::size_t mobilityNulls) {
    indices.truncate(rows);
    intensities.truncate(rows);
    scans.truncate(std::min(rows, scans.size()));
    masses.truncate(std::min(rows, masses.size()), massNulls);
    mobilities.truncate(std::min(rows, mobilities.size()), mobilityNulls);
}

// Takes room for the whole frame, so that no column is moved in the middle of it; with the first frame of a
// group, room for what the metadata expect of the group. Only if no peak will be dropped: else the bound
// could be far too high.
void PeakColumns::start(const io::kova::LoadedRange& range) {
    std::uint64_t bound = box->areAllIndices && box->areAllScans ? range.peakBound.value_or(0) : 0;
    if (bound != 0 && size() == 0) {
        bound = std::max(bound, expected);
    }
    const auto makeRoom = [&](std::uint32_t column, auto& values) {
        if (wants(column)) {
            values.room(bound);
        }
    };
    indices.room(bound);
    intensities.room(bound);
    makeRoom(KVR_COLUMN_SCAN, scans);
    makeRoom(KVR_COLUMN_MZ, masses);
    makeRoom(KVR_COLUMN_ONE_OVER_K0, mobilities);
    makeRoom(KVR_COLUMN_FRAME, frames);
    makeRoom(KVR_COLUMN_TIME, times);
    makeRoom(KVR_COLUMN_MS_LEVEL, levels);
}

io::kova::ScanTargets PeakColumns::place(const io::kova::ScanBatch& batch) {
    if (batch.peakBound == 0) {
        return {};  // such a frame may claim billions of scans
    }
    if (counts.size() < batch.size()) {
        counts.resize(batch.size());
        occupied.resize(batch.size());
    }
    return {.counts = reinterpret_cast<std::byte*>(counts.data()),
            .indices = reinterpret_cast<std::byte*>(indices.room(batch.peakBound)),
            .intensities = reinterpret_cast<std::byte*>(intensities.room(batch.peakBound))};
}

void PeakColumns::accept(const io::kova::ScanBatch& batch, const io::kova::ScanTargets& after) {
    if (batch.peakBound == 0) {
        return;
    }
    const bool isWhole = box->areAllIndices && box->areAllScans;
    const std::size_t peaks = isWhole ? static_cast<std::size_t>(after.peaks) : keepBox(batch);
    findOccupied(batch);
    addScans(batch, peaks);
    addMasses(peaks);
    addMobilities(batch, peaks);
    indices.add(peaks);
    intensities.add(peaks);
}

// Moves the peaks inside of the box together and corrects the counts. Each peak is written to the next free
// place, which only advances if the peak counts: that needs no branch, which for indices at random would be
// foreseen wrongly half of the time.
template <class IsInside>
std::size_t PeakColumns::keepPeaks(const io::kova::ScanBatch& batch, const IsInside& isInside) {
    std::uint32_t* const index = indices.room(0);
    std::uint32_t* const intensity = intensities.room(0);
    std::size_t scanBegin = 0;
    std::size_t kept = 0;
    for (std::uint32_t scan = batch.begin; scan < batch.end; ++scan) {
        std::uint32_t& count = counts[scan - batch.begin];
        const std::size_t scanEnd = scanBegin + count;
        const std::size_t before = kept;
        if (count != 0 && box->containsScan(scan)) {
            for (std::size_t i = scanBegin; i < scanEnd; ++i) {
                const std::uint32_t value = index[i];
                index[kept] = value;
                intensity[kept] = intensity[i];
                kept += isInside(value) ? std::size_t{1} : std::size_t{0};
            }
        }
        scanBegin = scanEnd;
        count = static_cast<std::uint32_t>(kept - before);
    }
    return kept;
}

// A range of m/z is one of indices, unless the calibration goes up and down.
std::size_t PeakColumns::keepBox(const io::kova::ScanBatch& batch) {
    if (box->indices.size() == 1) {
        const IndexRange only = box->indices.front();
        return keepPeaks(batch, [only](std::uint32_t index) { return only.contains(index); });
    }
    return keepPeaks(batch, [this](std::uint32_t index) { return box->containsIndex(index); });
}

// The counts of the batch, after the box was applied, say how many peaks each scan has. Of a small frame most
// scans are empty, which could not be foreseen by the loops over them that follow.
void PeakColumns::findOccupied(const io::kova::ScanBatch& batch) {
    if (!wants(KVR_COLUMN_SCAN | KVR_COLUMN_ONE_OVER_K0)) {
        return;
    }
    occupiedCount = 0;
    for (std::uint32_t i = 0; i < batch.size(); ++i) {
        occupied[occupiedCount] = i;
        occupiedCount += counts[i] != 0 ? std::size_t{1} : std::size_t{0};
    }
}

void PeakColumns::addScans(const io::kova::ScanBatch& batch, std::size_t peaks) {
    if (!wants(KVR_COLUMN_SCAN)) {
        return;
    }
    scans.room(peaks);
    for (const std::uint32_t i : std::span(occupied).first(occupiedCount)) {
        scans.fillShort(batch.begin + i, counts[i]);
    }
}

// By the same conversion that every other way to an m/z uses, so that the bits are the same.
void PeakColumns::addMasses(std::size_t peaks) {
    if (!wants(KVR_COLUMN_MZ)) {
        return;
    }
    const MassAxis* const axis = source->massAxis();
    if (axis == nullptr) {
        masses.fillNulls(peaks);
        return;
    }
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::conversion);
    axis->transformator().IndexToMassOnThisThread(std::span<const std::uint32_t>(indices.room(0), peaks),
                                                  std::span<double>(masses.room(peaks), peaks));
    masses.add(peaks);
}

// All peaks of a scan have the same 1/K0.
void PeakColumns::addMobilities(const io::kova::ScanBatch& batch, std::size_t peaks) {
    if (!wants(KVR_COLUMN_ONE_OVER_K0)) {
        return;
    }
    const std::span<const double> ofScans = source->oneOverK0();
    if (ofScans.empty()) {
        mobilities.fillNulls(peaks);
        return;
    }
    LUMO_ASSERT(batch.end <= ofScans.size());
    mobilities.room(peaks);
    for (const std::uint32_t i : std::span(occupied).first(occupiedCount)) {
        mobilities.fillShort(ofScans[batch.begin + i], counts[i]);
    }
}

// What all peaks of a frame share is added last, when their number is known.
void PeakColumns::addFrame(const FrameEntry& frame, std::size_t peaks) {
    if (wants(KVR_COLUMN_FRAME)) {
        frames.fill(frame.id, peaks);
    }
    if (wants(KVR_COLUMN_TIME)) {
        std::isnan(frame.time) ? times.fillNulls(peaks) : times.fill(frame.time, peaks);
    }
    if (wants(KVR_COLUMN_MS_LEVEL)) {
        frame.msLevel == 0 ? levels.fillNulls(peaks) : levels.fill(frame.msLevel, peaks);
    }
}

// Columns in the order of the schema; each shares the memory that it was written to.
arrow::RecordBatch PeakColumns::toBatch() const {
    arrow::RecordBatch batch;
    batch.length = static_cast<std::int64_t>(size());
    const auto add = [&](std::uint32_t column, auto make) {
        if (wants(column)) {
            batch.columns.push_back(make());
        }
    };
    add(KVR_COLUMN_FRAME, [this] { return arrow::numbers(size(), frames.buffer()); });
    add(KVR_COLUMN_TIME, [this] { return times.toColumn(); });
    add(KVR_COLUMN_MS_LEVEL, [this] { return levels.toColumn(); });
    add(KVR_COLUMN_SCAN, [this] { return arrow::numbers(size(), scans.buffer()); });
    add(KVR_COLUMN_TOF_INDEX, [this] { return arrow::numbers(size(), indices.buffer()); });
    add(KVR_COLUMN_INTENSITY, [this] { return arrow::numbers(size(), intensities.buffer()); });
    add(KVR_COLUMN_MZ, [this] { return masses.toColumn(); });
    add(KVR_COLUMN_ONE_OVER_K0, [this] { return mobilities.toColumn(); });
    return batch;
}

}  // namespace lumo::run
