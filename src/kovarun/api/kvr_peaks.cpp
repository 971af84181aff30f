#include "kovarun/api/kvr_run.h"
#include "kovarun/peaks/peak_stream.h"

// Arguments of the stream of peaks. Columns that do not exist are refused: a program built for a later
// release would otherwise miss one without noticing.
namespace {

constexpr uint32_t kDefaultColumns = KVR_COLUMN_FRAME | KVR_COLUMN_SCAN | KVR_COLUMN_TOF_INDEX |
                                     KVR_COLUMN_INTENSITY | KVR_COLUMN_MZ | KVR_COLUMN_ONE_OVER_K0;
constexpr uint32_t kAllColumns = 2 * KVR_COLUMN_ONE_OVER_K0 - 1;  // ONE_OVER_K0 is the last

}  // namespace

uint32_t kvr_peaks(kvr_run* run, const kvr_query* query, uint32_t columns, const kvr_control* control,
                   ArrowArrayStream* stream) {
    using namespace lumo::run;
    return callForStream(stream, [&] {
        const std::shared_ptr<Run>& opened = checked(run).run;
        if ((columns & ~kAllColumns) != 0) {
            LUMO_THROW(std::invalid_argument("There are no such columns of peaks."));
        }
        opened->borrow()->frames();  // refuses the other format
        return makePeakStream(opened, prepareQuery(*opened, query), columns == 0 ? kDefaultColumns : columns,
                              checkedControl(*opened, control));
    });
}
