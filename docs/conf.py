"""The documentation site: the pages of this folder, and the Python reference from docstrings. Built by ./dev docs."""

import functools
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

from docutils import nodes
from sphinx.util import logging

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
# Pages in which every name must lead to its place in a reference.
COMPLETE = {"api/c", "which"}
NAME = re.compile(r"(kova|kvs|kvr)_\w+[a-z0-9]|\w+::.+|[A-Z]\w+\.\w+|(kovadata|plot|study)\.\w+|kova .*|[a-z]+[A-Z]\w+")


def lead_elsewhere(app, docname, source):
    up = "../" * docname.count("/")
    for file, page in ELSEWHERE.items():
        scheme = "site:" if ".html" in page else ""
        source[0] = re.sub(rf"\]\(\.\./{up}{file}\)", f"]({scheme}{up}{page})", source[0])




@functools.lru_cache
def names_of_headers():
    """Where Doxygen has put what, by the names that pages use for it."""
    found = {}
    for compound in ElementTree.parse(PROJECT / "build/docs-tools/names.xml").getroot():
        kind, scope = compound.get("kind"), compound.findtext("name")
        if kind in ("class", "struct"):
            found.setdefault(scope, compound.findtext("filename"))
        for member in compound.iter("member"):
            name = member.findtext("name")
            page = f"{member.findtext('anchorfile')}#{member.findtext('anchor')}"
            if kind in ("class", "struct", "namespace"):
                found.setdefault(f"{scope}::{name}", page)
            elif re.match("kova_|kvs_|kvr_|KVR_", name):
                found[name] = page
    return found


def names_of_verbs(app):
    """Where the page of the command line tells of a verb."""
    headings = app.env.tocs["command-line"].findall(nodes.reference)
    return {f"kova {verb}": f"command-line.html{heading['anchorname']}"
            for heading in headings for verb in re.findall(r"\w+", heading.astext()) if heading.astext().islower()}


def link_names(app, doctree, docname):
    """Makes links of what is written as code and is the name of a function, a class or a verb."""
    headers, verbs, python = names_of_headers(), names_of_verbs(app), app.env.domains["py"].objects
    for literal in list(doctree.findall(nodes.literal)):
        text = literal.astext()
        name = text.split("(")[0]
        scopes = ("", "kova::", "kova::Analysis::", "kova::SpectrumAnalysis::")
        page = next((f"reference/{headers[scope + name]}" for scope in scopes if scope + name in headers), None)
        page = page or verbs.get(" ".join(text.split()[:2]))
        entry = python.get(f"kovadata.{name.removeprefix('kovadata.')}")
        if page is None and entry:
            page = f"{entry.docname}.html#{entry.node_id}"
        if page is None and docname in COMPLETE and NAME.fullmatch(text):
            logging.getLogger(__name__).warning("%s is nowhere in the references", text, location=docname)
        elif page and not page.startswith(docname) and not isinstance(literal.parent, nodes.reference):
            link = nodes.reference("", "", literal.deepcopy(), refuri="../" * docname.count("/") + page, internal=True)
            literal.replace_self(link)


def setup(app):
    app.connect("source-read", lead_elsewhere)
    app.connect("doctree-resolved", link_names)
    return {"parallel_read_safe": True}
