#pragma once

#include <sqlite3.h>

#include <stdexcept>

#include "sqlite/cppsqlite3.h"

namespace lumo::run {

// What `lookUp` gives, or nothing where it raises what is wrong with a calibration: a frame may lack one that
// works, which only matters to those who need it. Other failures are raised: no memory, or a database that
// cannot be read, must not look like a missing calibration.
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
