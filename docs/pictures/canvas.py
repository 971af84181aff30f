"""Boxes, arrows and rulers, in colours that colour-blind readers can tell apart."""

import pathlib

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402
from matplotlib.patches import FancyBboxPatch, Rectangle  # noqa: E402

# Text stays text: small files that can be searched, in any font; DejaVu, which it is laid out with, is among the widest.
matplotlib.rcParams.update({"font.size": 10, "svg.fonttype": "none", "svg.hashsalt": "kovadata", "axes.linewidth": 0.8})

# Okabe and Ito's colours, lightened where black text stands on them.
BLUE, ORANGE, GREEN, PURPLE, GREY, WHITE = "#a6d5f5", "#f7d08a", "#9bd9c4", "#e8c4da", "#e4e4e4", "#ffffff"
DARK_BLUE, DARK_ORANGE, DARK_GREEN = "#0072b2", "#d55e00", "#007a5a"


class Canvas:
    """A drawing surface in units of about a character's height, with y downwards."""

    def __init__(self, width, height):
        self.figure = plt.figure(figsize=(width / 6.4, height / 6.4), facecolor="white")
        self.axes = self.figure.add_axes([0, 0, 1, 1])
        self.axes.set(xlim=(0, width), ylim=(height, 0))
        self.axes.axis("off")

    def text(self, x, y, text, *, size=10, align="center", colour="black", bold=False, mono=False):
        self.axes.text(x, y, text, size=size, ha=align, va="center", color=colour, weight="bold" if bold else "normal",
                       family="monospace" if mono else "sans-serif", linespacing=1.35)

    def cell(self, x, y, width, height, text="", colour=WHITE, size=10, mono=False):
        self.axes.add_patch(Rectangle((x, y), width, height, facecolor=colour, edgecolor="black", linewidth=0.8))
        self.text(x + width / 2, y + height / 2, text, size=size, mono=mono)

    def box(self, x, y, width, height, text, colour=WHITE, size=10):
        self.axes.add_patch(FancyBboxPatch((x, y), width, height, boxstyle="round,pad=0,rounding_size=0.5", facecolor=colour,
                                           edgecolor="black", linewidth=0.8))
        self.text(x + width / 2, y + height / 2, text, size=size)

    def arrow(self, start, end, text="", *, offset=(0, -0.9), align="center", both=False, colour="black", size=9):
        self.axes.annotate("", end, start, arrowprops={"arrowstyle": "<|-|>" if both else "-|>", "linewidth": 1.1,
                                                       "color": colour, "shrinkA": 0, "shrinkB": 0})
        self.text((start[0] + end[0]) / 2 + offset[0], (start[1] + end[1]) / 2 + offset[1], text, size=size, align=align)

    def line(self, xs, ys, **style):
        self.axes.plot(xs, ys, **{"color": "black", "linewidth": 0.8, **style})

    def ruler(self, x, y, fields, *, height=3.0, size=9):
        """Adjoining fields (width, text, colour, offset), with offsets at the ticks; the last one ends with field None."""
        for width, text, colour, offset in fields:
            if text is not None:
                self.cell(x, y, width, height, text, colour, size)
            self.line([x, x], [y - 0.5, y])
            self.text(x, y - 1.2, offset, size=8, mono=True)
            x += width


def save(figure, name):
    figure.savefig(pathlib.Path(__file__).with_name(f"{name}.svg"), metadata={"Date": None, "Creator": None}, facecolor="white")
    plt.close(figure)
