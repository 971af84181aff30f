#pragma once

#include <cstdint>
#include <vector>

namespace lumo::io::kova {
class ISqliteReader;
}

namespace lumo::io::algorithms {

// The ids of the precursors that were selected in an MS1 frame, in the order of their rows; none for a frame
// that does not exist. Raises CppSQLite3Exception without a table of precursors.
std::vector<std::int64_t> getPrecursorIdsFromParent(const kova::ISqliteReader& analysis,
                                                    std::int64_t frameId);

}  // namespace lumo::io::algorithms
