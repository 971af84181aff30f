"""Numbers as texts for people."""

from __future__ import annotations


def count_text(value: float) -> str:
    """A count with all its digits, in groups of three."""
    return f"{round(value):,}"


def short_count(value: float) -> str:
    """A count in thousands, millions or billions with three digits, as axes show it."""
    for size, unit in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
        if abs(value) >= 0.9995 * size:
            return f"{value / size:.3g} {unit}"
    return f"{value:.3g}"


def bytes_text(size: float) -> str:
    """A size of a file."""
    for unit in ("bytes", "KiB", "MiB", "GiB"):
        if size < 1024 or unit == "GiB":
            break
        size /= 1024
    return f"{size:.0f} {unit}" if unit == "bytes" else f"{size:.1f} {unit}"
