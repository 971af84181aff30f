#include "kovarun/spectra/msms_plan.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>

#include "kova-data-reader/kvd_reader.h"
#include "sqlite/cppsqlite3.h"

// In which order precursors are extracted. Each is complete after its last frame. One extraction over all
// precursors would give them out in the order of those frames; sorting by it allows cutting the list
// anywhere, and groups that are extracted on their own still give the same order. Precursors with the same
// last frame stay in one group unless that makes it twice too large, since each group reads its frames for
// itself.
namespace lumo::run {

using io::algorithms::StripeRow;

namespace {

// What decides about a precursor's place in the order. Ties are broken as one extraction would: by parent,
// then by id.
struct Place {
    std::int64_t lastFrame;
    std::int64_t parent;
};

}  // namespace

// The transaction may run twice when a writer comes between, so it begins by clearing what it fills. Sorting
// comes after it: the database should not be held longer than reading takes.
MsmsPlan::MsmsPlan(const io::kova::KvdReader& reader, const io::algorithms::PrecursorFilter& filter) {
    std::unordered_map<std::int64_t, Place> places;
    reader.getSQLiteDb()->inTransaction([&] {
        sorted.clear();
        places.clear();
        io::algorithms::readStripeRows(reader, filter, [&](const StripeRow& row) {
            sorted.push_back(row);
            const auto [found, isNew] = places.try_emplace(row.id, Place{row.frame, row.parent});
            if (!isNew && row.frame > found->second.lastFrame) {
                found->second = {row.frame, row.parent};
            }
        });
    });
    const auto keyOf = [&places](const StripeRow& row) {
        const Place& place = places.at(row.id);
        return std::tuple(place.lastFrame, place.parent, row.id, row.frame);
    };
    std::sort(sorted.begin(), sorted.end(),
              [&](const StripeRow& a, const StripeRow& b) { return keyOf(a) < keyOf(b); });
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        if (i == 0 || sorted[i].id != sorted[i - 1].id) {
            starts.push_back(i);
        }
    }
    starts.push_back(sorted.size());
}

// Prefers to cut where the last frame changes, so that neighbours share few frames.
std::vector<FrameGroup> groupPrecursors(const MsmsPlan& plan, std::size_t size) {
    std::vector<FrameGroup> groups;
    for (std::size_t i = 0; i < plan.precursors(); ++i) {
        const std::size_t length = groups.empty() ? 0 : i - groups.back().begin;
        const bool isFull =
            length >= 2 * size || (length >= size && plan.lastFrame(i) != plan.lastFrame(i - 1));
        if (groups.empty() || isFull) {
            groups.push_back({i, i, 0});
        }
        groups.back().end = i + 1;
    }
    return groups;
}

}  // namespace lumo::run
