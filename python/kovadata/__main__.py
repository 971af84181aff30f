"""``python3 -m kovadata export RUN -o FILE``, as the command line tool calls it."""

from __future__ import annotations

import sys

from kovadata._interruption import end_when_interrupted


def main() -> int:
    if sys.argv[1:2] != ["export"]:
        sys.stderr.write("kova: the verb is export\ntry: python3 -m kovadata export --help\n")
        return 2
    from kovadata._export.command import main as export

    return export(sys.argv[2:])


if __name__ == "__main__":
    end_when_interrupted()  # before imports that take time
    sys.exit(main())
