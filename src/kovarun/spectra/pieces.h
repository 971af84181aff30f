#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "diag/assert.h"

namespace lumo::run {

// A list that grows by pieces. Growing a vector copies it, and the memory that it leaves after each step, about
// as much as all of it, mostly stays with the process.
template <class T>
class Pieces {
public:
    std::size_t size() const { return used; }
    void clear() {
        pieces.clear();
        used = 0;
    }
    void push_back(const T& value) {
        if (used == pieces.size() * kPiece) {
            pieces.push_back(std::make_unique_for_overwrite<T[]>(kPiece));
        }
        ++used;
        (*this)[used - 1] = value;
    }
    T& operator[](std::size_t i) {
        LUMO_ASSERT(i < used);
        return pieces[i / kPiece][i % kPiece];
    }
    const T& operator[](std::size_t i) const {
        LUMO_ASSERT(i < used);
        return pieces[i / kPiece][i % kPiece];
    }

private:
    static constexpr std::size_t kPiece = 1 << 14;

    std::vector<std::unique_ptr<T[]>> pieces;
    std::size_t used = 0;
};

}  // namespace lumo::run
