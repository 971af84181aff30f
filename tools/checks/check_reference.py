#!/usr/bin/env python3
"""Finds what the public headers declare and the reference that Doxygen made of them does not have.

Doxygen reads headers with a preprocessor of its own and says nothing about what that hides. Arguments: the folder of headers, the
folder of the reference, and Doxygen's list of names.
"""

import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

DECLARED = re.compile(r"""^(?:KOVADATA_API|(?:\[\[nodiscard\]\]\ )?inline)\s[^;{=]*?(\w+)\(
                        |^(?:typedef\ )?(?:enum\ class|struct|enum|class)\ (\w+)\b[^;{]*\{
                        |^\#define\ (KOVADATA_VERSION_\w\w+)""", re.M | re.X)
PRIVATE = re.compile(r"^namespace detail \{.*?^\}  // namespace detail$", re.M | re.S)


def declared(header: pathlib.Path) -> set[str]:
    text = PRIVATE.sub("", header.read_text(encoding="utf-8"))
    prefix = "kova::" if re.search(r"^namespace kova \{", text, re.M) else ""
    return {prefix + next(filter(None, match)) for match in DECLARED.findall(text)}


def documented(names: pathlib.Path, reference: pathlib.Path) -> set[str]:
    found = set()
    for compound in ElementTree.parse(names).getroot():
        name, kind = compound.findtext("name"), compound.get("kind")
        if kind in ("class", "struct") and (reference / compound.findtext("filename")).exists():
            found.add(name)
        scope = "kova::" if kind == "namespace" else ""
        for member in compound.iter("member"):
            if (reference / member.findtext("anchorfile")).exists():
                found |= {scope + member.findtext("name"), member.findtext("name")}
    return found


def main() -> None:
    headers, reference, names = map(pathlib.Path, sys.argv[1:])
    wanted = set().union(*map(declared, headers.glob("*.h*")))
    missing = sorted(wanted - documented(names, reference))
    print("\n".join([f"{name} is not in the reference" for name in missing] + [f"{len(wanted)} names, {len(missing)} missing"]))
    sys.exit(1 if missing or not wanted else 0)


if __name__ == "__main__":
    main()
