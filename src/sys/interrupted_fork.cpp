#include "sys/interrupted_fork.h"

#include "sys/thread_number.h"

// A count per thread, as the places that may hold locks are nested.
namespace lumo::sys {

namespace {

ThreadNumber places;

[[gnu::destructor]] void releasePlaces() { places.release(); }

}  // namespace

MayHoldForkLocks::MayHoldForkLocks() noexcept { places.set(places.get() + 1); }
MayHoldForkLocks::~MayHoldForkLocks() { places.set(places.get() - 1); }

bool isForkInterrupting() noexcept { return places.get() > 0; }

}  // namespace lumo::sys
