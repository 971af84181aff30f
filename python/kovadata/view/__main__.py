"""``python3 -m kovadata.view RUN...``: shows runs in the browser until Ctrl-C."""

from __future__ import annotations

from kovadata._interruption import end_when_interrupted

if __name__ == "__main__":
    end_when_interrupted()  # before imports that take time

import argparse
import gc
import sys
from typing import List, Optional

from kovadata._command import Parser, failed

_EPILOG = """The page is served to this computer alone, at an address with a token without which nothing is shown. Ctrl-C ends it.

examples:
  kova view run.d
  kova view run.d other.d --no-browser
"""


def _port(text: str) -> int:
    number = int(text)
    if not 0 <= number <= 65535:
        raise ValueError
    return number


def _parser() -> argparse.ArgumentParser:
    parser = Parser(prog="kova view", description="Shows runs in the browser.", epilog=_EPILOG)
    parser.add_argument("runs", metavar="RUN", nargs="+", help="directory of an analysis")
    parser.add_argument("--no-browser", action="store_true", help="print the address and open no browser")
    parser.add_argument("--port", type=_port, default=0, metavar="N", help="port to listen on (default: one that is free)")
    parser.add_argument("--listen", default="127.0.0.1", metavar="ADDRESS",
                        help="address to listen on (default: 127.0.0.1, which only this computer reaches); whoever reaches "
                             "another one and knows the token sees the runs")
    parser.add_argument("--recalibrated", action="store_true",
                        help="begin with the newest complete re-calibrated state, where there is one")
    parser.add_argument("--calibration", metavar="MODE",
                        help="begin with this state, which must be there: off, first[:SOURCE], last[:SOURCE], "
                             "lastIncomplete:SOURCE, uuid:KEY")
    return parser


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs the command until it is interrupted; gives 1 after a failure. Wrong usage exits with 2."""
    options = _parser().parse_args(arguments)
    gc.disable()  # all that is imported stays: looking through it again and again takes a tenth of the start
    from kovadata.view._server import Viewer

    try:
        viewer = Viewer(options.runs, browser=not options.no_browser, port=options.port, address=options.listen,
                        recalibrated=options.recalibrated, calibration=options.calibration, is_alone=True, say=print)
        gc.freeze()
        gc.enable()
        viewer.wait()
    except Exception as error:
        return failed(error)
    return 0


if __name__ == "__main__":
    sys.exit(main())
