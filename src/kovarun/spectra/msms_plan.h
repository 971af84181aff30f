#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "diag/assert.h"
#include "kovarun/pipeline/frame_tasks.h"
#include "kovarun/run/run.h"
#include "zorel-msms-reader/stripe_rows.h"

namespace lumo::run {

// Precursors in the order in which their spectra are given, which is that of their last frames, and what each
// is summed of. The metadata are read once, in one transaction: 300,000 precursors have a million rows and
// more. Never changed once it is made, so all threads of a stream use the same one.
class MsmsPlan {
public:
    MsmsPlan(const io::kova::KvdReader& reader, const io::algorithms::PrecursorFilter& filter);

    std::size_t precursors() const { return starts.size() - 1; }

    // Rows of precursors [begin, end), those of each together, in any order.
    std::span<const io::algorithms::StripeRow> rows(std::size_t begin, std::size_t end) const {
        LUMO_ASSERT(begin <= end && end < starts.size());
        return {sorted.data() + starts[begin], starts[end] - starts[begin]};
    }
    std::int64_t lastFrame(std::size_t precursor) const;

private:
    std::vector<io::algorithms::StripeRow> sorted;
    std::vector<std::size_t> starts;  // of the rows of each precursor, and one more
};

// Cuts the precursors into groups of about `size`, where it can between those of one last frame and the next:
// each group reads the frames of its precursors again.
std::vector<FrameGroup> groupPrecursors(const MsmsPlan& plan, std::size_t size);

}  // namespace lumo::run
