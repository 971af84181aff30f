#include "kovarun/run/control.h"

#include <algorithm>
#include <limits>

#include "diag/throw.h"
#include "diag/throwable.h"
#include "kovarun/errors.h"
#include "kovarun/run/sized.h"

// What a call leaves open is taken from the run, and then from the constants below. Batches are limited to
// what the 32-bit offsets of list columns can address; a caller may ask for more and gets the limit.
namespace lumo::run {

namespace {

// In rows.
constexpr std::uint64_t kDefaultBatchSize = std::uint64_t{1} << 20;
constexpr std::uint64_t kLargestBatchSize = std::numeric_limits<std::int32_t>::max();

}  // namespace

void Control::report(std::uint64_t done, std::uint64_t total) const {
    // Ending a call is a failure like any other: what is on its way is given up, and the stream keeps the
    // text.
    if (progress != nullptr && progress(context, done, total) == 0) {
        LUMO_THROW(Cancelled("Cancelled by the caller."));
    }
}

void Control::reportDamage(std::int64_t frame, const char* text) const {
    if (damaged != nullptr) {
        damaged(context, frame, text);
    }
}

Control checkedControl(const Run& run, const kvr_control* control) {
    const kvr_control given = sized(control, "kvr_control");
    Control checked;
    checked.limits.threads =
        given.threads == 0 ? run.options().threads : std::min(given.threads, kMostThreads);
    checked.limits.memoryBudget = run.options().memoryBudget;
    checked.batchSize = static_cast<std::int64_t>(
        std::min(given.batch_size == 0 ? kDefaultBatchSize : given.batch_size, kLargestBatchSize));
    checked.onDamage = given.skip_damaged != 0 ? OnDamage::LeaveOut : OnDamage::Raise;
    checked.progress = given.progress;
    checked.damaged = given.damaged;
    checked.context = given.context;
    return checked;
}

}  // namespace lumo::run

LUMO_THROWABLE(lumo::run::Cancelled);
