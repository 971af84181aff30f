#include "kova-data-reader/scan-reading/packed_scans.h"

#include <cstring>
#include <stdexcept>

#include "diag/assert.h"
#include "diag/throw.h"
#include "kova-data-reader/blob/limits.h"

namespace lumo::io::kova {

namespace {

constexpr std::size_t kWordSize = sizeof(std::uint32_t);

// The limit keeps the size in bytes below 2^32, which is what the C interface can return.
void checkResultSize(std::uint64_t values) {
    if (values > limits::kMaxResultValues) {
        LUMO_THROW(std::runtime_error("Maximum decompressed frame size exceeded."));
    }
}

// The sink of a packed result. Where nothing can fail any more, peaks are decoded to where they end up. Only
// when the buffer might be too small for the bound are they counted first, and read once more if they fit
// after all. Where a later scan can still turn out to be corrupt, the result is built aside, since a call
// that fails writes nothing; once it has outgrown the caller's buffer, the rest is only counted.
class PackedSink final : public ScanSink {
public:
    PackedSink(std::span<std::byte> callersBuffer, ByteBuffer& stagingBuffer)
        : buffer(callersBuffer), staged(stagingBuffer) {}

    void start(const LoadedRange& loaded) override {
        range = loaded.range;
        if (!loaded.peakBound) {
            destination = Destination::Staged;
        } else if (fits(range.size() + 2 * *loaded.peakBound)) {
            destination = Destination::Caller;
        } else {
            // What was counted may have changed in the file since.
            destination = mustRepeat() ? Destination::Staged : Destination::None;
        }
        // The counts, one for each scan, are a part of the result and come before all peaks.
        values = range.size();
    }

    ScanTargets place(const ScanBatch& batch) override {
        if (destination == Destination::None || !fits(values)) {
            return {};
        }
        if (destination == Destination::Staged) {
            staged.resize(kWordSize * (values + 2 * batch.peakBound));
        }
        std::byte* const result = destination == Destination::Staged ? staged.data() : buffer.data();
        return {.counts = result + kWordSize * (batch.begin - range.begin),
                .indices = result + kWordSize * values};
    }

    void accept(const ScanBatch& /*batch*/, const ScanTargets& after) override {
        values += 2 * after.peaks;
        checkResultSize(values);
    }

    // True when the result has only been counted, but fits the buffer.
    bool mustRepeat() const { return destination == Destination::None && fits(values); }

    std::uint64_t finish() {
        if (destination == Destination::Staged && fits(values)) {
            std::memcpy(buffer.data(), staged.data(), kWordSize * values);
        }
        return kWordSize * values;
    }

private:
    enum class Destination { None, Caller, Staged };

    bool fits(std::uint64_t count) const {
        return count <= limits::kMaxResultValues && kWordSize * count <= buffer.size();
    }

    std::span<std::byte> buffer;
    ByteBuffer& staged;
    ScanRange range;
    Destination destination = Destination::None;
    std::uint64_t values = limits::kMaxResultValues + 1;  // of the result so far; unknown at first
};

}  // namespace

std::uint64_t PackedScanReader::read(const ScanRange& range, NormalizationType type,
                                     std::span<std::byte> buffer) {
    if (range.begin >= range.end) {
        LUMO_THROW(std::invalid_argument("scan_end must be > scan_begin"));
    }
    checkResultSize(range.size());
    PackedSink sink(buffer, staged);
    scans.read(range, type, sink);
    if (sink.mustRepeat()) {
        scans.read(range, type, sink);
        LUMO_ASSERT(!sink.mustRepeat());
    }
    return sink.finish();
}

}  // namespace lumo::io::kova
