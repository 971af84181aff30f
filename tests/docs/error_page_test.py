"""The check of the page of error texts has to notice every way in which a text can be raised."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
CHECKER = PROJECT / "tools" / "checks" / "check_error_page.py"
PAGE = PROJECT / "docs" / "when-something-goes-wrong.md"

ERRORS = (PROJECT / "src" / "diag" / "errors.cpp").read_text(encoding="utf-8")
THROW = 'void f(int a) {{ LUMO_THROW({}); }}\n'
CASES = [  # source, texts that the page needs
    (THROW.format('std::runtime_error(\n    "new "  // why\n    "text")'), ["new text"]),
    (THROW.format('io::NewError(std::string("no ") + (a ? "left" : "right") + " \\"side\\"")'),
     ['no left "side"', 'no right "side"']),
    (THROW.format('CorruptScanDataError(1, f(a, 2), "new text")'),
     ["CorruptScanDataError for FrameId=…, Scan=…: new text"]),
    (THROW.format('std::out_of_range(describe("new text", a))'), ["new text…"]),
    ('void f() { boost::format text("new %1% %2$#x"); LUMO_THROW(E((text % 1 % 2).str())); }\n', ["new … …"]),
    ('[[noreturn]] void fail(int id, const char* why) { LUMO_THROW(E("new " + id + ": " + why)); }\n'
     'void f() { fail(3, "first"); fail(5, reason()); }\n', ["new …: first", "new …: …"]),
    ('void f() { use({.id = 1, .text = "new text"}); }\nvoid g(Part part) { LUMO_THROW(E(part.text)); }\n', ["new text"]),
    ('// LUMO_THROW(E("commented out"));\nconst char* sql = "SELECT /* new */ text";\n', []),
]


class ErrorPage(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.source = pathlib.Path(folder.name) / "src"
        (self.source / "diag").mkdir(parents=True)
        (self.source / "diag" / "errors.cpp").write_text(ERRORS, encoding="utf-8")
        self.page = pathlib.Path(folder.name) / "page.md"

    def check(self):
        result = subprocess.run([sys.executable, "-B", CHECKER, "--source", self.source, "--page", self.page],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.stderr, "")
        # What is hidden for the real sources is raised nowhere here.
        return [line for line in result.stdout.splitlines() if "said to be unreachable" not in line]

    def write_page(self, texts):
        self.page.write_text("".join(f"| `{text}` | Advice. |\n" for text in texts), encoding="utf-8")

    def test_every_form_of_a_text_is_found(self):
        for source, texts in CASES:
            with self.subTest(source):
                (self.source / "diag" / "new.cpp").write_text(source, encoding="utf-8")
                self.write_page([])
                self.assertEqual([re.sub(r"^.*?: not on the page: ", "", line) for line in self.check()
                                  if "not on the page" in line], texts)
                self.write_page(texts + ["only here"])
                self.assertEqual(self.check(), ["on the page, but raised nowhere: only here"])

    def test_a_text_that_is_taken_off_the_page_is_missed(self):
        self.source = PROJECT / "src"
        lines = PAGE.read_text(encoding="utf-8").splitlines()
        for index in [index for index, line in enumerate(lines) if line.startswith("| `")][::25]:
            self.page.write_text("\n".join(lines[:index] + lines[index + 1:]), encoding="utf-8")
            self.assertEqual(len(self.check()), 1)


if __name__ == "__main__":
    unittest.main()
