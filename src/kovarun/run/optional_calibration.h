#pragma once

#include <sqlite3.h>

#include <stdexcept>

#include "sqlite/cppsqlite3.h"

namespace lumo::run {

// The calibration that `lookUp` gives, or none where it raises that the calibration is wrong: a frame may
// lack one, which matters only to those who need it. std::runtime_error is what the metadata are blamed for,
// std::logic_error what the models raise about their coefficients. Everything else passes: running out of
// memory, or a database that cannot be read, must not look like a missing calibration.
template <class LookUp>
auto calibrationOrNone(const LookUp& lookUp) -> decltype(lookUp()) {
    try {
        return lookUp();
    } catch (const CppSQLite3Exception& error) {
        if (error.errorCode() != SQLITE_ERROR) {  // no such table or column
            throw;
        }
    } catch (const std::runtime_error&) {
    } catch (const std::logic_error&) {
    }
    return {};
}

}  // namespace lumo::run
