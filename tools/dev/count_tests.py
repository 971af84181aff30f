#!/usr/bin/env python3
"""Adds up the result files of the presets given and ends with the line "N passed, N failed"."""

import sys
import xml.etree.ElementTree as tree

passed = failed = skipped = 0
for preset in sys.argv[1:]:
    try:
        suites = list(tree.parse(f"build/results/{preset}.xml").iter("testsuite"))
    except (OSError, tree.ParseError):
        failed += 1
        continue
    counts = {key: sum(int(suite.get(key, 0)) for suite in suites)
              for key in ("tests", "failures", "errors", "skipped", "disabled")}
    counts["failures"] += counts["errors"]
    left_out = counts["skipped"] + counts["disabled"]
    print(f"{preset}: {counts['tests'] - counts['failures'] - left_out} passed, {counts['failures']} failed, "
          f"{left_out} skipped")
    passed += counts["tests"] - counts["failures"] - left_out
    failed += counts["failures"]
    skipped += left_out
print(f"{passed} passed, {failed} failed")
sys.exit(1 if failed or not passed else 0)
