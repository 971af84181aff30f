#pragma once

#include <cstdint>

namespace lumo::calibration::kova {

// Between the reduced inverse mobility 1/K0 (V s / cm^2) and the collisional cross section (square angstrom)
// of an ion of given m/z and charge in nitrogen.
//
// The Mason-Schamp relation (E. A. Mason, E. W. McDaniel, "Transport Properties of Ions in Gases", Wiley
// 1988) reads
//     CCS = 3/16 * sqrt(2 pi / (mu k T)) * |z| e / (N0 K0),
// with the reduced mass mu of ion and gas, the temperature T and the number density N0 = 101325 Pa / (k *
// 273.15 K). With mu in unified atomic mass units, K0 in cm^2 / (V s) and CCS in square angstrom, the factor
// in front of |z| / (K0 * sqrt(mu T)) is
//     F = 3/16 * e / N0 * sqrt(2 pi / (u k)) * 1e20 * 1e4,
// which is 18509.866438 with the CODATA 2018 values of e, k and u. The lumped constant in use,
// 18509.863216340458, lies 0.17 ppm below that; it is kept, as it fixes the results. T is 305 K,
// nitrogen 28.0134 u.
//
// Deliberate: the mass of the ion is m/z * |z| plus the signed charge times the electron mass, so that +z and
// -z give slightly different results for the same m/z.
//
// Pure functions; they never fail. Charge 0 gives a CCS of 0 and an infinite 1/K0, a negative reduced mass
// NaN.
double oneOverK0ToCcsForMz(double oneOverK0, std::int32_t charge, double mz);
double ccsToOneOverK0ForMz(double ccs, std::int32_t charge, double mz);

}  // namespace lumo::calibration::kova
