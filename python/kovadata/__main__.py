"""``python3 -m kovadata export RUN -o FILE`` and ``report RUN -o FILE``, as the command line tool calls them."""

from __future__ import annotations

import importlib
import sys

from kovadata._interruption import end_when_interrupted

_VERBS = {"export": "kovadata._export.command", "report": "kovadata._report.command"}


def main() -> int:
    verb = sys.argv[1] if len(sys.argv) > 1 else ""
    if verb not in _VERBS:
        sys.stderr.write("kova: the verb is export or report\ntry: python3 -m kovadata export --help\n")
        return 2
    status: int = importlib.import_module(_VERBS[verb]).main(sys.argv[2:])
    return status


if __name__ == "__main__":
    end_when_interrupted()  # before imports that take time
    sys.exit(main())
