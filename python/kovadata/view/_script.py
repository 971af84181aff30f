"""The script of the page: the modules in `page/script` as one, which the page holds.

Modules that the browser asked for would wait for each other, and for a server that is importing Bokeh meanwhile.
"""

from __future__ import annotations

import graphlib
import pathlib
import re

_FOLDER = pathlib.Path(__file__).parent / "page" / "script"
_IMPORT = re.compile(r'^import (?:\* as )?(\w+|\{.*\}) from "\./(\w+)\.js"$', re.MULTILINE)
_EXPORT = re.compile(r"^export (?=(?:async )?(?:const|function) (\w+))", re.MULTILINE)


def joined_script() -> str:
    """A function per module, which is called after those that it imports from and returns what it exports."""
    texts = {file.stem: file.read_text("utf-8") for file in sorted(_FOLDER.glob("*.js"))}
    order = graphlib.TopologicalSorter({name: [other for _, other in _IMPORT.findall(text)] for name, text in texts.items()})
    return "".join([";(() => {\nconst modules = {}\n", *(_as_function(name, texts[name]) for name in order.static_order()), "})()"])


def _as_function(name: str, text: str) -> str:
    exported = ", ".join(_EXPORT.findall(text))
    body = _EXPORT.sub("", _IMPORT.sub(r"const \1 = modules.\2", text))
    return f"modules.{name} = (() => {{\n{body}return {{{exported}}}\n}})()\n"
