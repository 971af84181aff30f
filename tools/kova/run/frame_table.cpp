#include "kova/run/frame_table.h"

#include <algorithm>
#include <limits>

// The table of frames as rows. A count that no frame can have, negative or too large, is taken as not stated.
namespace kova_tool {
namespace {

template <class Unsigned>
std::optional<Unsigned> count(const std::optional<std::int64_t>& value) {
    constexpr std::uint64_t kLargest = std::numeric_limits<Unsigned>::max();
    if (!value || *value < 0 || static_cast<std::uint64_t>(*value) > kLargest) {
        return std::nullopt;
    }
    return static_cast<Unsigned>(*value);
}

}  // namespace

std::vector<FrameRow> readFrameTable(const Run& run) {
    std::vector<FrameRow> frames;
    ArrowStream table = run.table(KVR_TABLE_FRAMES);
    while (table.next()) {
        const auto integer = [&](const char* name, std::size_t row) {
            return table.column(name).value<std::int64_t>(row);
        };
        for (std::size_t row = 0; row < table.rows(); ++row) {
            FrameRow& frame = frames.emplace_back();
            frame.id = integer("id", row).value_or(0);
            frame.time = table.column("time").value<double>(row);
            frame.polarity = table.column("polarity").text(row);
            frame.msLevel = table.column("ms_level").value<std::int8_t>(row);
            frame.scans = count<std::uint32_t>(integer("scans", row));
            frame.peaks = count<std::uint64_t>(integer("peaks", row));
            frame.intensitySum = count<std::uint64_t>(integer("intensity_sum", row));
            frame.mzCalibration = integer("mz_calibration", row);
            frame.mobilityCalibration = integer("mobility_calibration", row);
        }
    }
    return frames;
}

const FrameRow* findFrame(const std::vector<FrameRow>& frames, std::int64_t id) {
    const auto place = std::ranges::lower_bound(frames, id, {}, &FrameRow::id);
    return place != frames.end() && place->id == id ? &*place : nullptr;
}

}  // namespace kova_tool
