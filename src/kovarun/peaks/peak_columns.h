#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "diag/assert.h"
#include "kova-data-reader/scan-reading/scan_sink.h"
#include "kovarun/arrow/column.h"
#include "kovarun/query/frame_source.h"

namespace lumo::run {

// Values that are written before they are counted: room first, then as many as there were. Growing doubles
// the room and copies only what is counted, so pointers from room() are valid until the next call that takes
// more.
template <class T>
class GrowingColumn {
public:
    std::size_t size() const { return used; }
    const T* data() const { return values.get(); }

    // Where `more` values may be written.
    T* room(std::size_t more) {
        if (used + more > capacity) {
            grow(std::max(used + more, 2 * capacity));
        }
        return values.get() + used;
    }
    void add(std::size_t written) {
        LUMO_ASSERT(used + written <= capacity);
        used += written;
    }
    void fill(T value, std::size_t count) {
        std::fill_n(room(count), count, value);
        used += count;
    }
    // Into room that was taken. Values are written in blocks, the last of which may reach beyond the end: the
    // length of a loop over so few values is what the processor cannot foresee. Every column has a spare
    // block for that.
    void fillShort(T value, std::size_t count) {
        LUMO_ASSERT(used + count <= capacity);
        for (T* target = values.get() + used; target < values.get() + used + count; target += kBlock) {
            for (std::size_t i = 0; i < kBlock; ++i) {
                target[i] = value;
            }
        }
        used += count;
    }
    void truncate(std::size_t size) {
        LUMO_ASSERT(size <= used);
        used = size;
    }
    arrow::Buffer buffer() const { return {values, values.get()}; }

private:
    static constexpr std::size_t kBlock = 64 / sizeof(T);  // a cache line

    void grow(std::size_t size) {
        std::shared_ptr<T[]> larger = arrow::takeMemoryFor<T>(size + kBlock);
        if (used != 0) {
            std::memcpy(larger.get(), values.get(), used * sizeof(T));
        }
        values = std::move(larger);
        capacity = size;
    }

    std::shared_ptr<T[]> values;
    std::size_t used = 0;
    std::size_t capacity = 0;
};

// Values that whole frames may lack, since time, MS level and calibrations are a frame's. Bits that say which
// rows have one are kept from the first missing one on.
template <class T>
class NullableColumn {
public:
    T* room(std::size_t more) { return values.room(more); }
    void add(std::size_t written) {
        noteValues(written);
        values.add(written);
    }
    void fill(T value, std::size_t count) {
        noteValues(count);
        values.fill(value, count);
    }
    void fillShort(T value, std::size_t count) {
        noteValues(count);
        values.fillShort(value, count);
    }
    void fillNulls(std::size_t count) {
        nulls += count;
        noteValues(count);
        for (std::size_t row = values.size(); row < values.size() + count; ++row) {
            bits[row / 8] = static_cast<std::uint8_t>(bits[row / 8] & ~(1U << row % 8));
        }
        values.fill(T{}, count);
    }
    // Takes rows back; `nullsBefore` is how many nulls there were without them. Their bits are set again, as
    // note() takes bits beyond the end to be set.
    void truncate(std::size_t size, std::size_t nullsBefore) {
        for (std::size_t row = size; nulls != 0 && row < values.size(); ++row) {
            bits[row / 8] = static_cast<std::uint8_t>(bits[row / 8] | 1U << row % 8);
        }
        values.truncate(size);
        nulls = nullsBefore;
    }
    std::size_t size() const { return values.size(); }
    std::size_t nullCount() const { return nulls; }
    arrow::Column toColumn() const {
        arrow::Column column = arrow::numbers(values.size(), values.buffer());
        column.nullCount = static_cast<std::int64_t>(nulls);
        if (nulls != 0) {
            column.buffers[0] = arrow::toBuffer(std::vector<std::uint8_t>(bits));
        }
        return column;
    }

private:
    // Bits for rows that are about to be added; nothing to do before the first missing value.
    void noteValues(std::size_t count) {
        if (nulls != 0) {
            bits.resize((values.size() + count) / 8 + 1, 0xFF);
        }
    }

    GrowingColumn<T> values;
    std::vector<std::uint8_t> bits;
    std::size_t nulls = 0;
};

// The peaks of successive frames as columns, for one thread: the sink that the decoder writes to. Memory is
// that of the batch which toBatch() gives out, so an object serves for one batch.
class PeakColumns final : public io::kova::ScanSink {
public:
    // Columns of ::kvr_column, combined. Room for `expectedPeaks` is taken with that of the first frame; more
    // may come.
    PeakColumns(std::uint32_t wantedColumns, std::uint64_t expectedPeaks)
        : ScanSink(kPeaksPerBatch), wanted(wantedColumns), expected(expectedPeaks) {}

    static std::vector<arrow::Field> schema(std::uint32_t wanted);

    // Appends the peaks of the source's current frame: all of them, or none if it fails.
    void append(FrameSource& frameSource, const FrameBox& frameBox, const FrameEntry& frame);

    std::size_t size() const { return indices.size(); }
    arrow::RecordBatch toBatch() const;

    void start(const io::kova::LoadedRange& range) override;
    io::kova::ScanTargets place(const io::kova::ScanBatch& batch) override;
    void accept(const io::kova::ScanBatch& batch, const io::kova::ScanTargets& after) override;

private:
    static constexpr std::uint64_t kPeaksPerBatch = 4000;  // so few that they stay in the processor's cache

    bool wants(std::uint32_t column) const { return (wanted & column) != 0; }
    std::size_t keepBox(const io::kova::ScanBatch& batch);
    template <class IsInside>
    std::size_t keepPeaks(const io::kova::ScanBatch& batch, const IsInside& isInside);
    void findOccupied(const io::kova::ScanBatch& batch);
    void addScans(const io::kova::ScanBatch& batch, std::size_t peaks);
    void addMasses(std::size_t peaks);
    void addMobilities(const io::kova::ScanBatch& batch, std::size_t peaks);
    void addFrame(const FrameEntry& frame, std::size_t peaks);
    void takeBack(std::size_t rows, std::size_t massNulls, std::size_t mobilityNulls);

    std::uint32_t wanted;
    std::uint64_t expected;
    FrameSource* source = nullptr;  // of the frame that is being read
    const FrameBox* box = nullptr;
    std::vector<std::uint32_t> counts;    // peaks per scan of a batch
    std::vector<std::uint32_t> occupied;  // scans that have peaks, counted from the batch's first
    std::size_t occupiedCount = 0;        // what `occupied` holds beyond is of earlier batches

    GrowingColumn<std::int64_t> frames;
    NullableColumn<double> times;
    NullableColumn<std::int8_t> levels;
    GrowingColumn<std::uint32_t> scans;
    GrowingColumn<std::uint32_t> indices;
    GrowingColumn<std::uint32_t> intensities;
    NullableColumn<double> masses;
    NullableColumn<double> mobilities;
};

}  // namespace lumo::run
