#pragma once

#include <vector>

class CppSQLite3DB;

namespace lumo::io::calibration {

// How well one lock mass was found along the run when a state was made. The two series have the same length.
struct LockMassCalibrationDiagnostic {
    double lockMass = 0.0;                        // m/z
    double percentFound = 0.0;                    // of the spectra
    std::vector<double> retentionTimesInSeconds;  // where it was found,
    std::vector<double> massDeviationInDa;        // and by how much it was off there
};

// Records of one state from table "LcMsLockMassCalibrationDiagnostic". The two series are stored either as
// blobs of little-endian doubles or as texts of numbers separated by blanks, commas or semicolons; NULL is an
// empty series. Raises CorruptDataError on a series that is neither, or when the two differ in length.
std::vector<LockMassCalibrationDiagnostic> readLockMassCalibrationDiagnostics(CppSQLite3DB& db, int stateId);

}  // namespace lumo::io::calibration
