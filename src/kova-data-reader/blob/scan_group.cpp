#include "kova-data-reader/blob/scan_group.h"

#include <algorithm>

#include "diag/assert.h"
#include "kova-data-reader/blob/kvd_reader_cache.h"
#include "kova-data-reader/blob/limits.h"
#include "sys/work_counters.h"

// One stream of a compressed scan keeps the processor waiting, since each token is known only when the one
// before it is done; two streams in turn fill that time. So scans are decompressed several together, ahead of
// being asked for, in one buffer. What is wrong with a scan must not be noticed before its turn has come: such
// a stream leaves nothing behind, and is decompressed by itself later, where the failure has its text.
namespace lumo::io::kova {

namespace {

// More than a few scans, so that there are always two to go on with, and yet what they become is still in the
// processor's cache when its turn comes.
constexpr std::size_t kRoomBytes = std::size_t{256} * 1024;
constexpr std::uint32_t kMaxScans = 1024;

// None for a scan that may be larger than any is allowed to be.
std::size_t roomFor(const uimf::LzfStream& stream) {
    const std::size_t room = stream.input.empty() ? 0 : uimf::lzfRoom(stream.input.size());
    return room <= limits::kMaxDecompressedScanSizeBytes ? room : 0;
}

}  // namespace

void ScanGroup::fill(const KvdReaderCache& cache, std::uint32_t begin, std::uint32_t end) {
    LUMO_ASSERT(begin < end);
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::decompression);
    collect(cache, begin, end);
    makeRoom();
    uimf::decodeLzfStreams(streams);
    const auto decompressed =
        std::ranges::count_if(streams, [](const uimf::LzfStream& stream) { return stream.produced != 0; });
    stopwatch.add(&sys::WorkCounters::blocksDecompressed, static_cast<std::uint64_t>(decompressed));
}

// Ends before a scan whose place contradicts the frame, which fails when its turn has come. The first scan is
// taken whatever its size.
void ScanGroup::collect(const KvdReaderCache& cache, std::uint32_t begin, std::uint32_t end) {
    streams.clear();
    first = begin;
    std::size_t room = 0;
    for (std::uint32_t scan = begin; scan < end && streams.size() < kMaxScans; ++scan) {
        const auto input = cache.find(scan);
        if (!input) {
            return;
        }
        const uimf::LzfStream stream{*input, {}};
        room += roomFor(stream);
        if (room > kRoomBytes && scan != begin) {
            return;
        }
        streams.push_back(stream);
    }
}

// The room is what a stream without long matches needs. One that needs more leaves nothing, as above.
void ScanGroup::makeRoom() {
    std::size_t room = 0;
    for (const uimf::LzfStream& stream : streams) {
        room += roomFor(stream);
    }
    bytes.resize(room);
    std::byte* next = bytes.data();
    for (uimf::LzfStream& stream : streams) {
        stream.output = {next, roomFor(stream)};
        next += stream.output.size();
    }
}

std::optional<std::span<const std::byte>> ScanGroup::get(std::uint32_t scan) const {
    LUMO_ASSERT(contains(scan));
    const uimf::LzfStream& stream = streams[scan - first];
    if (stream.produced == 0 && !stream.input.empty()) {
        return std::nullopt;
    }
    return stream.output.first(stream.produced);
}

}  // namespace lumo::io::kova
