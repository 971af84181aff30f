"""The documentation site: the pages of this folder, and the Python reference from docstrings. Built by ./dev docs."""

import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(PROJECT / "python"))

project = "kovadata"
version = re.search(r'"(.*)"', (PROJECT / "python/kovadata/_version.py").read_text(encoding="utf-8").splitlines()[-1])[1]
extensions = ["myst_parser", "sphinx.ext.autodoc", "sphinx.ext.napoleon"]
source_suffix = {".md": "markdown"}
exclude_patterns = ["requirements.txt"]

html_theme = "furo"
html_title = f"kovadata {version}"
html_static_path = ["site.css"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_copyright = False
pygments_style = "tango"

myst_heading_anchors = 4
# Where Doxygen puts the reference of the headers, below the site.
myst_url_schemes = {"https": None, "mailto": None, "reference": "reference/{{path}}"}

autodoc_typehints = "none"  # docstrings have shapes and units too
autodoc_member_order = "bysource"
napoleon_use_ivar = True
napoleon_use_rtype = False


def link_headers(app, docname, source):
    """On the site, links to headers lead to their reference."""
    source[0] = re.sub(r"\]\((?:\.\./)?include/kovadata/(\w+)\.(h|hpp)\)", r"](reference:\1_8\2.html)", source[0])


def setup(app):
    app.connect("source-read", link_headers)
    return {"parallel_read_safe": True}
