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

html_theme = "furo"
html_title = f"kovadata {version}"
html_static_path = ["site.css"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_copyright = False
pygments_style = "tango"

myst_heading_anchors = 4
# "site" is for pages that Doxygen makes, which nothing here can check.
myst_url_schemes = {"https": None, "mailto": None, "site": "{{path}}#{{fragment}}"}

default_role = "py:obj"
autodoc_typehints = "none"  # docstrings have shapes and units too
autodoc_member_order = "bysource"
napoleon_use_ivar = True
napoleon_use_rtype = False

# Where links to files outside of this folder lead on the site.
ELSEWHERE = {r"include/kovadata/(\w+)\.(h|hpp)": r"reference/\1_8\2.html#details", "SECURITY.md": "project/security.md",
             "CHANGELOG.md": "project/changelog.md", "examples/README.md": "project/examples.md"}


def lead_elsewhere(app, docname, source):
    up = "../" * docname.count("/")
    for file, page in ELSEWHERE.items():
        scheme = "site:" if ".html" in page else ""
        source[0] = re.sub(rf"\]\(\.\./{up}{file}\)", f"]({scheme}{up}{page})", source[0])


def setup(app):
    app.connect("source-read", lead_elsewhere)
    return {"parallel_read_safe": True}
