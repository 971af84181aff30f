#!/usr/bin/env python3
"""Prints the peaks of an MS/MS spectrum beside the fragments of the peptide that was simulated.

Reads what `kova msms RUN --precursor ID --peaks --csv` writes from standard input, and the list that
`kova-simulate --fragments FILE` wrote. Exits with 1 if fewer than half of the peaks are fragments.
"""

import csv
import sys

PPM = 10.0
NEUTRON = 1.00335


def explanation(mz, fragments):
    """The fragment, or its second or third isotope, that a peak can be; None if there is none."""
    for isotope in range(3):
        for fragment in fragments:
            expected = float(fragment["mz"]) + isotope * NEUTRON / int(fragment["ion_charge"])
            if abs(mz - expected) <= 1e-6 * PPM * expected:
                charge = "+" * int(fragment["ion_charge"])
                return f"{fragment['ion']}{charge}" + (f" isotope {isotope}" if isotope else "")
    return None


def main():
    with open(sys.argv[1], encoding="ascii") as file:
        fragments = list(csv.DictReader(file))
    peaks = list(csv.DictReader(sys.stdin))
    own = [fragment for fragment in fragments if fragment["precursor"] == peaks[0]["precursor"]]
    strongest = max(float(peak["intensity"]) for peak in peaks)
    print(f"precursor {own[0]['precursor']}: {own[0]['peptide']}, charge {own[0]['charge']}")
    explained = 0
    for peak in peaks:
        label = explanation(float(peak["mz"]), own)
        explained += label is not None
        bar = "#" * max(1, round(40 * float(peak["intensity"]) / strongest))
        print(f"{float(peak['mz']):11.4f} {float(peak['intensity']):8.0f}  {label or '':14} {bar}")
    print(f"{explained} of {len(peaks)} peaks are fragments of the peptide")
    return 0 if 2 * explained >= len(peaks) else 1


if __name__ == "__main__":
    sys.exit(main())
