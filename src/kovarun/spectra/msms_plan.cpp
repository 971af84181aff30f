#include "kovarun/spectra/msms_plan.h"

#include <algorithm>
#include <numeric>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "diag/assert.h"
#include "kova-data-reader/kvd_reader.h"
#include "sqlite/cppsqlite3.h"

// In which order precursors are extracted. Each is complete after its last frame. One extraction over all
// precursors would give them out in the order of those frames; sorting by it allows cutting the list
// anywhere, and groups that are extracted on their own still give the same order. Precursors with the same
// last frame stay in one group unless that makes it twice too large, since each group reads its frames for
// itself.
//
// There may be millions of rows, so only precursors are sorted. How many rows those before it have tells where
// the rows of each go.
namespace lumo::run {

using io::algorithms::StripeRow;

namespace {

// What decides about a precursor's place in the order. Ties are broken as one extraction would: by parent,
// then by id.
struct Precursor {
    std::int64_t lastFrame;
    std::int64_t parent;
    std::int64_t id;
    std::size_t rows = 0;
    std::size_t next = 0;  // where the next of its rows goes

    void add(const StripeRow& row) {
        if (row.frame > lastFrame || (row.frame == lastFrame && row.parent < parent)) {
            std::tie(lastFrame, parent) = std::tie(row.frame, row.parent);
        }
        ++rows;
    }
    bool operator<(const Precursor& other) const {
        return std::tie(lastFrame, parent, id) < std::tie(other.lastFrame, other.parent, other.id);
    }
};

// Where the rows of each precursor begin, in their order, and one more.
std::vector<std::size_t> findBegins(std::vector<Precursor>& precursors) {
    std::vector<std::size_t> order(precursors.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return precursors[a] < precursors[b]; });
    std::vector<std::size_t> begins = {0};
    begins.reserve(order.size() + 1);
    for (const std::size_t i : order) {
        precursors[i].next = begins.back();
        begins.push_back(begins.back() + precursors[i].rows);
    }
    return begins;
}

// Brings rows, which hold the number of their precursor in place of its id, to where they belong, within the
// list: there is no room for a second one. The row at a precursor's next place is exchanged for the one at the
// next place of its own precursor, until it is its own.
void moveToPlaces(std::vector<Precursor>& precursors, std::vector<StripeRow>& rows) {
    for (Precursor& precursor : precursors) {
        for (const std::size_t end = precursor.next + precursor.rows; precursor.next < end;) {
            StripeRow& row = rows[precursor.next];
            Precursor& owner = precursors[static_cast<std::size_t>(row.id)];
            std::swap(row, rows[owner.next++]);
            --owner.rows;
        }
    }
}

}  // namespace

// The transaction may run twice when a writer comes between, so it begins by clearing what it fills. Ordering
// comes after it: the database should not be held longer than reading takes.
MsmsPlan::MsmsPlan(const io::kova::KvdReader& reader, const io::algorithms::PrecursorFilter& filter) {
    std::vector<Precursor> found;
    reader.getSQLiteDb()->inTransaction([&] {
        std::unordered_map<std::int64_t, std::size_t> numbers;
        sorted.clear();
        found.clear();
        readStripeRows(reader, filter, io::algorithms::RowOrder::AsFound, [&](const StripeRow& row) {
            const std::size_t number = numbers.try_emplace(row.id, found.size()).first->second;
            if (number == found.size()) {
                found.push_back({row.frame, row.parent, row.id});
            }
            found[number].add(row);
            sorted.push_back(row);
            sorted.back().id = static_cast<std::int64_t>(number);
        });
    });
    starts = findBegins(found);
    moveToPlaces(found, sorted);
    for (StripeRow& row : sorted) {
        row.id = found[static_cast<std::size_t>(row.id)].id;
    }
}

std::int64_t MsmsPlan::lastFrame(std::size_t precursor) const {
    LUMO_ASSERT(precursor < precursors());
    const std::span<const StripeRow> ofOne = rows(precursor, precursor + 1);
    return std::max_element(ofOne.begin(), ofOne.end(),
                            [](const StripeRow& a, const StripeRow& b) { return a.frame < b.frame; })
        ->frame;
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
