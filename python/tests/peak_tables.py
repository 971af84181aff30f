"""What engines are held against: the peaks of runs by a plain loop over frames, and random predicates on them in several
languages."""

import os
import signal

import numpy as np

import kovadata
from kovadata.study import COLUMNS


def plain_table(paths, **options):
    """The columns of all peaks as arrays, run by run and frame by frame."""
    parts = {name: [] for name in COLUMNS}
    for path in paths:
        with kovadata.Analysis(path, **options) as analysis:
            for frame in analysis.frames():
                peaks = frame.peaks()
                for name in COLUMNS:
                    of_frame = {"run": str(path), "frame": frame.id, "time": frame.time, "ms_level": frame.ms_level}
                    parts[name].append(np.full(len(peaks), of_frame[name]) if name in of_frame else getattr(peaks, name))
    return {name: np.concatenate(columns) for name, columns in parts.items()}


def predicates(table, count, depth=2):
    """Random predicates, whose values are those of peaks so that ends matter, and which of the rows meet each."""
    random = np.random.default_rng(5)

    def leaf():
        column = random.choice(COLUMNS)
        value = random.choice(table[column], 3).tolist()
        sign = random.choice(["=", "<", "<=", ">", ">=", "in", "<>"])
        return (sign, column, sorted(set(value)) if sign == "in" else value[0])

    def tree(depth):
        if depth == 0 or random.random() < 0.2:
            return leaf()
        return (random.choice(["and", "and", "or"]), tree(depth - 1), tree(depth - 1))

    for _ in range(count):
        one = tree(depth)
        yield one, mask(one, table)


def mask(tree, table):
    sign, first, second = tree
    if sign in ("and", "or"):
        return getattr(np, f"logical_{sign}")(mask(first, table), mask(second, table))
    values = table[first]
    return {"=": lambda: values == second, "<": lambda: values < second, "<=": lambda: values <= second,
            ">": lambda: values > second, ">=": lambda: values >= second, "<>": lambda: values != second,
            "in": lambda: np.isin(values, second)}[sign]()


def as_sql(tree):
    sign, first, second = tree
    if sign in ("and", "or"):
        return f"({as_sql(first)} {sign} {as_sql(second)})"
    return f"{first} {sign} " + (f"({', '.join(map(literal, second))})" if sign == "in" else literal(second))


def literal(value):
    return f"'{value}'" if isinstance(value, str) else f"CAST('{value!r}' AS DOUBLE)" if isinstance(value, float) else str(value)


def as_expression(tree, field, is_in):
    """The predicate in a package whose fields have Python's operators."""
    sign, first, second = tree
    if sign in ("and", "or"):
        left, right = (as_expression(one, field, is_in) for one in (first, second))
        return left & right if sign == "and" else left | right
    if sign == "in":
        return getattr(field(first), is_in)(second)
    compare = {"=": "__eq__", "<>": "__ne__", "<": "__lt__", "<=": "__le__", ">": "__gt__", ">=": "__ge__"}[sign]
    return getattr(field(first), compare)(second)


def assert_same(found, table, rows=slice(None)):
    """Whether columns as arrays are bit for bit those of some rows, in their order."""
    assert set(found) <= set(COLUMNS) and len(found) > 0
    for name, values in found.items():
        expected = table[name][rows]
        assert np.array_equal(np.asarray(values).astype(expected.dtype, copy=False), expected), name


def die_once(rows, folder):
    """The rows; the third call kills its process, whichever worker makes it, and no later one."""
    with open(f"{folder}/calls", "ab") as file:
        file.write(b".")
    if os.path.getsize(f"{folder}/calls") >= 3 and not os.path.exists(f"{folder}/killed"):
        os.mkdir(f"{folder}/killed")
        os.kill(os.getpid(), signal.SIGKILL)
    return rows
