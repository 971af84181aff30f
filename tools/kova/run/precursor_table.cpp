#include "kova/run/precursor_table.h"

namespace kova_tool {

std::vector<PrecursorRow> readPrecursors(const Run& run, const std::vector<FrameRow>& frames) {
    std::vector<PrecursorRow> precursors;
    ArrowStream table = run.table(KVR_TABLE_PRECURSORS);
    while (table.next()) {
        const auto real = [&](const char* name, std::size_t row) {
            return table.column(name).value<double>(row);
        };
        for (std::size_t row = 0; row < table.rows(); ++row) {
            PrecursorRow& precursor = precursors.emplace_back();
            precursor.id = table.column("id").value<std::int64_t>(row).value_or(0);
            precursor.parent = table.column("frame").value<std::int64_t>(row);
            precursor.mz = real("mz", row);
            precursor.charge = table.column("charge").value<std::int64_t>(row);
            precursor.intensity = real("intensity", row);
            precursor.time = real("time", row);
            precursor.oneOverK0 = real("one_over_k0", row);
            const FrameRow* const frame = precursor.parent ? findFrame(frames, *precursor.parent) : nullptr;
            precursor.polarity = frame != nullptr ? frame->polarity : std::nullopt;
        }
    }
    return precursors;
}

}  // namespace kova_tool
