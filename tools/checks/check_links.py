#!/usr/bin/env python3
"""Finds links that lead nowhere: in the Markdown pages of a working copy, or in the HTML pages of the built site.

Files and anchors are checked, links to other hosts are not.
"""

import functools
import html.parser
import pathlib
import re
import sys
import urllib.parse


class HtmlPage(html.parser.HTMLParser):
    def __init__(self, text: str):
        super().__init__()
        self.links, self.anchors = [], {"", "top"}
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if value and (name == "id" or (name == "name" and tag == "a")):
                self.anchors.add(value)
            if value and name in ("href", "src"):
                self.links.append(value)


class MarkdownPage:
    def __init__(self, text: str):
        text = re.sub(r"^(```|~~~).*?^\1", "", text, flags=re.M | re.S)
        plain = re.sub(r"`[^`\n]*`", "", text)
        self.links = re.findall(r"\]\(([^)\s]+)\)", plain)
        headings = re.findall(r"^#+ +(.*?) *$", text, re.M)
        self.anchors = {""} | {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


@functools.lru_cache(maxsize=None)
def page(path: pathlib.Path):
    kind = {".html": HtmlPage, ".md": MarkdownPage}.get(path.suffix)
    return kind(path.read_text(encoding="utf-8")) if kind else None


def failure(origin: pathlib.Path, link: str):
    parts = urllib.parse.urlsplit(link)
    if parts.scheme or parts.netloc:
        return None
    target = (origin.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else origin
    if not target.exists():
        return "no such file"
    known = page(target) if target.is_file() else None
    return None if known is None or urllib.parse.unquote(parts.fragment) in known.anchors else "no such anchor"


def main() -> None:
    root = pathlib.Path(sys.argv[1]).resolve()
    if (root / "index.html").exists():
        pages = sorted(root.rglob("*.html"))
    else:
        pages = sorted(path for path in root.rglob("*.md") if "build" not in path.relative_to(root).parts)
    failures = [f"{path.relative_to(root)}: {link}: {why}" for path in pages for link in page(path).links
                if (why := failure(path, link))]
    print("\n".join(failures + [f"{len(pages)} pages, {len(failures)} links that lead nowhere"]))
    sys.exit(1 if failures or not pages else 0)


if __name__ == "__main__":
    main()
