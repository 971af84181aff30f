#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kovarun/pipeline/frame_tasks.h"
#include "kovarun/run/run.h"
#include "kovarun/spectra/pieces.h"
#include "zorel-msms-reader/stripe_rows.h"

namespace lumo::run {

// Precursors in the order in which their spectra are given, which is that of their last frames, and what each
// is summed of. The metadata are read once, in one transaction: 300,000 precursors have a million rows and
// more. Never changed once it is made, so all threads of a stream use the same one.
class MsmsPlan {
public:
    MsmsPlan(const io::kova::KvdReader& reader, const io::algorithms::PrecursorFilter& filter);

    std::size_t precursors() const { return starts.size() - 1; }

    // Rows of precursors [begin, end), those of each together, in any order, in place of what `taken` has.
    void takeRows(std::size_t begin, std::size_t end, std::vector<io::algorithms::StripeRow>& taken) const;
    std::int64_t lastFrame(std::size_t precursor) const;

private:
    // A row in little more than half of its bytes, since a run has millions. One with larger numbers, as a
    // damaged file may have, stands in `wide`, at the index that is in place of its scan number.
    struct PackedRow {
        std::uint32_t number;  // of the precursor, in the order in which they were found
        std::int32_t parent;   // kWide: look into `wide`
        std::int32_t frame = 0;
        std::int32_t scanBegin = 0;
        std::int32_t scanEnd = 0;
        std::array<std::uint32_t, 2> scanNumber = {};  // the bits of a double
    };
    struct Precursor;
    static constexpr std::int32_t kWide = INT32_MIN;

    PackedRow packed(const io::algorithms::StripeRow& row, std::size_t number);
    io::algorithms::StripeRow unpacked(const PackedRow& row) const;
    void moveToPlaces(Pieces<Precursor>& precursors);

    Pieces<PackedRow> sorted;
    std::vector<io::algorithms::StripeRow> wide;
    std::vector<std::int64_t> ids;    // by number
    std::vector<std::size_t> starts;  // of the rows of each precursor, and one more
};

// Cuts the precursors into groups of about `size`, where it can between those of one last frame and the next:
// each group reads the frames of its precursors again.
std::vector<FrameGroup> groupPrecursors(const MsmsPlan& plan, std::size_t size);

}  // namespace lumo::run
