#pragma once

namespace lumo::algorithm {

// All numbers from `lower` to `upper`, both included.
template <class T>
struct ClosedInterval {
    T lower;
    T upper;
};

}  // namespace lumo::algorithm
