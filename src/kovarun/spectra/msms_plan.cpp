#include "kovarun/spectra/msms_plan.h"

#include <algorithm>
#include <bit>
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

// What decides about a precursor's place in the order. Ties are broken as one extraction would: by parent,
// then by id.
struct MsmsPlan::Precursor {
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

namespace {

// Where the rows of each precursor begin, in their order, and one more.
template <class Precursor>
std::vector<std::size_t> findBegins(Pieces<Precursor>& precursors) {
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

// The number of each precursor that was found, plus one; 0 for others. Ids mostly count from 1, for which a map
// would take as much memory as a third of the rows.
class Numbers {
public:
    std::uint32_t& operator[](std::int64_t id) {
        if (id < 0 || id >= kDense) {
            return ofOthers[id];
        }
        const auto place = static_cast<std::size_t>(id);
        if (place >= ofSmall.size()) {
            ofSmall.resize(place + 1);
        }
        return ofSmall[place];
    }

private:
    static constexpr std::int64_t kDense = std::int64_t{1} << 22;
    std::vector<std::uint32_t> ofSmall;
    std::unordered_map<std::int64_t, std::uint32_t> ofOthers;
};

bool isShort(std::int64_t value) { return value > INT32_MIN && value <= INT32_MAX; }

}  // namespace

MsmsPlan::PackedRow MsmsPlan::packed(const StripeRow& row, std::size_t number) {
    using Words = std::array<std::uint32_t, 2>;
    PackedRow made{.number = static_cast<std::uint32_t>(number), .parent = kWide};
    if (isShort(row.parent) && isShort(row.frame) && isShort(row.scanBegin) && isShort(row.scanEnd)) {
        made.parent = static_cast<std::int32_t>(row.parent);
        made.frame = static_cast<std::int32_t>(row.frame);
        made.scanBegin = static_cast<std::int32_t>(row.scanBegin);
        made.scanEnd = static_cast<std::int32_t>(row.scanEnd);
        made.scanNumber = std::bit_cast<Words>(row.scanNumber);
    } else {
        made.scanNumber = std::bit_cast<Words>(std::uint64_t{wide.size()});
        wide.push_back(row);
    }
    return made;
}

StripeRow MsmsPlan::unpacked(const PackedRow& row) const {
    if (row.parent == kWide) {
        return wide[std::bit_cast<std::uint64_t>(row.scanNumber)];
    }
    return {ids[row.number], row.parent,  row.frame,
            row.scanBegin,   row.scanEnd, std::bit_cast<double>(row.scanNumber)};
}

// Brings rows to where they belong, within the list: there is no room for a second one. The row at a
// precursor's next place is exchanged for the one at the next place of its own precursor, until it is its own.
void MsmsPlan::moveToPlaces(Pieces<Precursor>& precursors) {
    for (std::size_t i = 0; i < precursors.size(); ++i) {
        const Precursor& precursor = precursors[i];
        for (const std::size_t end = precursor.next + precursor.rows; precursor.next < end;) {
            PackedRow& row = sorted[precursor.next];
            Precursor& owner = precursors[row.number];
            std::swap(row, sorted[owner.next++]);
            --owner.rows;
        }
    }
}

// The transaction may run twice when a writer comes between, so it begins by clearing what it fills. Ordering
// comes after it: the database should not be held longer than reading takes.
MsmsPlan::MsmsPlan(const io::kova::KvdReader& reader, const io::algorithms::PrecursorFilter& filter) {
    Pieces<Precursor> found;
    reader.getSQLiteDb()->inTransaction([&] {
        Numbers numbers;
        sorted.clear();
        wide.clear();
        found.clear();
        readStripeRows(reader, filter, io::algorithms::RowOrder::AsFound, [&](const StripeRow& row) {
            std::uint32_t& known = numbers[row.id];
            if (known == 0) {
                found.push_back({row.frame, row.parent, row.id});
                known = static_cast<std::uint32_t>(found.size());
            }
            const std::size_t number = known - 1;
            found[number].add(row);
            sorted.push_back(packed(row, number));
        });
    });
    starts = findBegins(found);
    moveToPlaces(found);
    ids.reserve(found.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        ids.push_back(found[i].id);
    }
}

void MsmsPlan::takeRows(std::size_t begin, std::size_t end, std::vector<StripeRow>& taken) const {
    LUMO_ASSERT(begin <= end && end < starts.size());
    taken.clear();
    for (std::size_t i = starts[begin]; i < starts[end]; ++i) {
        taken.push_back(unpacked(sorted[i]));
    }
}

std::int64_t MsmsPlan::lastFrame(std::size_t precursor) const {
    LUMO_ASSERT(precursor < precursors());
    std::int64_t last = INT64_MIN;
    for (std::size_t i = starts[precursor]; i < starts[precursor + 1]; ++i) {
        last = std::max(last, unpacked(sorted[i]).frame);
    }
    return last;
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
